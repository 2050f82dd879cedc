#pragma once

#include <stdexcept>
#include <string>

namespace tapwell {

/// The error that capture code throws. `what()` is the description for the user.
class RecorderCoreAudioError : public std::runtime_error {
public:
    static RecorderCoreAudioError wrapped(const std::string& message) {
        return RecorderCoreAudioError(message, false);
    }
    /// This process has not been granted system-audio capture.
    static RecorderCoreAudioError systemAudioPermissionDenied() {
        return RecorderCoreAudioError("PERMISSION_DENIED_SYSTEM_AUDIO", true);
    }

    bool isSystemAudioPermissionDenied() const { return isPermissionDenied_; }

private:
    RecorderCoreAudioError(const std::string& description, bool isPermissionDenied)
        : std::runtime_error(description), isPermissionDenied_(isPermissionDenied) {}

    bool isPermissionDenied_;
};

}  // namespace tapwell
