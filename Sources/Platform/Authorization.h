#pragma once

#include <functional>
#include <optional>

namespace tapwell {

/// What the user or the system lets this process record. Any thread.
class Authorization {
public:
    // Raw values of the microphone status. Others may occur and count as unknown.
    static constexpr long kNotDetermined = 0;
    static constexpr long kRestricted = 1;
    static constexpr long kDenied = 2;
    static constexpr long kAuthorized = 3;

    virtual ~Authorization() = default;

    /// Never prompts.
    virtual long microphoneStatus() = 0;
    /// May prompt. Calls `completion` exactly once, on any thread, with whether access is granted.
    virtual void requestMicrophoneAccess(std::function<void(bool granted)> completion) = 0;

    /// Preflight of system-audio capture, which never prompts: 0 granted, 1 denied, anything else
    /// undetermined. Absent when the host has no such preflight.
    virtual std::optional<int> systemAudioPreflight() = 0;
};

}  // namespace tapwell
