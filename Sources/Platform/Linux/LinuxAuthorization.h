#pragma once

#include "Platform/Authorization.h"
#include "Platform/Linux/PipeWireAudioHardware.h"

namespace tapwell {

/// What the audio server grants this process: there is no other permission on this host, and
/// nobody to prompt. A server that is missing denies nothing.
class LinuxAuthorization final : public Authorization {
public:
    /// `hardware` must outlive this object.
    explicit LinuxAuthorization(const PipeWireAudioHardware& hardware) : hardware_(hardware) {}

    long microphoneStatus() override { return hardware_.isAccessRefused() ? kDenied : kAuthorized; }
    void requestMicrophoneAccess(std::function<void(bool granted)> completion) override {
        completion(!hardware_.isAccessRefused());
    }
    std::optional<int> systemAudioPreflight() override {
        return hardware_.isAccessRefused() ? 1 : 0;
    }

private:
    const PipeWireAudioHardware& hardware_;
};

}  // namespace tapwell
