#include "Platform/Simulated/VirtualTime.h"

#include <algorithm>
#include <stdexcept>

namespace tapwell {

void VirtualTime::schedule(Duration delay, std::function<void()> work) {
    scheduled_.emplace(Moment{now_ + std::max(delay, Duration::zero()), nextOrder_++},
                       std::move(work));
}

bool VirtualTime::runNext(Duration limit) {
    if (scheduled_.empty() || scheduled_.begin()->first.time > limit) return false;
    auto next = scheduled_.extract(scheduled_.begin());
    now_ = std::max(now_, next.key().time);
    next.mapped()();
    return true;
}

void VirtualTime::advance(Duration duration) {
    const Duration end = now_ + duration;
    while (runNext(end)) {
    }
    now_ = std::max(now_, end);
}

bool VirtualTime::waitUntil(const std::function<bool()>& done, std::optional<Duration> timeout) {
    const Duration end = timeout ? now_ + *timeout : Duration::max();
    while (!done()) {
        if (runNext(end)) continue;
        if (!timeout) throw std::logic_error("waiting for what can never happen");
        now_ = std::max(now_, end);
        return done();
    }
    return true;
}

}  // namespace tapwell
