#pragma once

#include "Platform/AudioHardware.h"
#include "Platform/Linux/PropertyValue.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tapwell {

/// The property listeners of an audio hardware, and the values that they know. Not thread-safe:
/// its owner's lock guards it.
class PropertyListeners {
public:
    struct Listener {
        AudioObjectID object = kAudioObjectUnknown;
        AudioObjectPropertyAddress address;
        std::shared_ptr<SerialQueue> queue;
        AudioPropertyListener block;

        friend bool operator==(const Listener&, const Listener&) = default;
    };
    /// Absent when the property cannot be read.
    using Value = std::optional<PropertyValue>;
    using Reader = std::function<Value(AudioObjectID, const AudioObjectPropertyAddress&)>;

    void add(Listener listener, Value present);
    /// False when there was none.
    bool remove(const Listener& listener);
    bool isEmpty() const { return entries_.empty(); }

    /// Submits a call to the queue of every listener whose property reads differently now.
    void notifyChanges(const Reader& read);
    /// From now on the properties cannot be read, and nobody is told: what can be read next is
    /// the change.
    void forgetValues();

private:
    struct Entry {
        Listener listener;
        Value known;
    };

    std::vector<Entry> entries_;
};

}  // namespace tapwell
