#pragma once

#include "Platform/Authorization.h"
#include "Platform/QueueFactory.h"
#include "Tapwell/Capture/SystemAudioRecordingPermission.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/Protocol/EventEmitter.h"

#include <string>

namespace tapwell {

/// Reports what this process may record, and gates a recording on microphone access. From the
/// command loop only.
class CapturePermissions {
public:
    explicit CapturePermissions(const SystemAudioRecordingPermission::Services& services);

    /// Emits the present state. Never prompts.
    void emitPermissionsSnapshot() const;

    /// Makes the system ask for system-audio capture where that is undecided, then emits the state.
    void requestSystemAudioPermission() const;

    /// Whether a recording may use the microphone. May prompt, and blocks until the user has
    /// answered. When not, an error event has been emitted.
    bool ensureMicrophoneAccessForRecording() const;

    /// "notDetermined", "restricted", "denied", "authorized", or "unknown(<raw>)".
    static std::string describeAVAuthorizationStatus(long status);

private:
    std::string microphoneState() const;
    bool requestMicrophoneAccess() const;
    bool refuse(const std::string& message) const;

    Authorization& authorization_;
    QueueFactory& queues_;
    const SystemAudioRecordingPermission systemAudio_;
    const Log log_;
    const EventEmitter events_;
};

}  // namespace tapwell
