#pragma once

#include "Platform/AudioHardware.h"

#include <string>

namespace tapwell::test {

/// A tap on everything and a private aggregate device with it, clocked by a sink.
class SystemTap {
public:
    /// Fails the test when it cannot be made.
    SystemTap(AudioHardware& hardware, const std::string& sinkUid);
    ~SystemTap();
    SystemTap(const SystemTap&) = delete;
    SystemTap& operator=(const SystemTap&) = delete;

    AudioObjectID tap() const { return tap_; }
    AudioObjectID device() const { return device_; }

    static PropertyDictionary aggregate(const std::string& sinkUid, const std::string& tapUuid);

private:
    AudioHardware& hardware_;
    AudioObjectID tap_ = kAudioObjectUnknown;
    AudioObjectID device_ = kAudioObjectUnknown;
};

}  // namespace tapwell::test
