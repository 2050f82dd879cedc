#include "Platform/Linux/PropertyListeners.h"

#include <algorithm>
#include <utility>

namespace tapwell {

void PropertyListeners::add(Listener listener, Value present) {
    entries_.push_back({std::move(listener), std::move(present)});
}

bool PropertyListeners::remove(const Listener& listener) {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return entry.listener == listener; });
    if (found == entries_.end()) return false;
    entries_.erase(found);
    return true;
}

void PropertyListeners::notifyChanges(const Reader& read) {
    for (Entry& entry : entries_) {
        const Listener& listener = entry.listener;
        Value value = read(listener.object, listener.address);
        if (value == entry.known) continue;
        entry.known = std::move(value);
        listener.queue->async([block = listener.block, address = listener.address] {
            (*block)(std::span(&address, 1));
        });
    }
}

void PropertyListeners::forgetValues() {
    for (Entry& entry : entries_)
        entry.known.reset();
}

}  // namespace tapwell
