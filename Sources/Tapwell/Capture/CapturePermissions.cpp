#include "Tapwell/Capture/CapturePermissions.h"

#include "Tapwell/Diagnostics/TextFormat.h"

namespace tapwell {

CapturePermissions::CapturePermissions(const SystemAudioRecordingPermission::Services& services)
    : authorization_(services.authorization),
      queues_(services.queues),
      systemAudio_(services),
      log_(services.streams, "mic-permission"),
      events_(services.streams) {}

std::string CapturePermissions::describeAVAuthorizationStatus(long status) {
    switch (status) {
        case Authorization::kNotDetermined:
            return "notDetermined";
        case Authorization::kRestricted:
            return "restricted";
        case Authorization::kDenied:
            return "denied";
        case Authorization::kAuthorized:
            return "authorized";
        default:
            return "unknown(" + std::to_string(status) + ")";
    }
}

std::string CapturePermissions::microphoneState() const {
    const long status = authorization_.microphoneStatus();
    if (status == Authorization::kAuthorized) return "granted";
    return status == Authorization::kNotDetermined ? "not-determined" : "denied";
}

void CapturePermissions::emitPermissionsSnapshot() const {
    const auto systemAudio = systemAudio_.currentStatus();
    events_.emitEvent(
        PermissionsEvent{microphoneState(), SystemAudioRecordingPermission::rawValue(systemAudio)});
}

void CapturePermissions::requestSystemAudioPermission() const {
    const auto systemAudio = systemAudio_.request();
    events_.emitEvent(
        PermissionsEvent{microphoneState(), SystemAudioRecordingPermission::rawValue(systemAudio)});
}

bool CapturePermissions::ensureMicrophoneAccessForRecording() const {
    const long status = authorization_.microphoneStatus();
    log_.line("AVCaptureDevice.authorizationStatus(for: .audio) = " +
              describeAVAuthorizationStatus(status) + " (raw=" + std::to_string(status) + ")");
    switch (status) {
        case Authorization::kAuthorized:
            log_.line("Microphone authorized for tapwell.");
            return true;
        case Authorization::kDenied:
        case Authorization::kRestricted:
            log_.line(
                "Refusing start: denied/restricted. Grant Microphone to **tapwell** (this binary), "
                "not only Terminal — System Settings → Privacy & Security → Microphone.");
            return refuse(
                "Microphone access denied for tapwell. Open System Settings → Privacy & Security → "
                "Microphone and enable tapwell or Tolvane Desktop. Granting access to Terminal "
                "alone does not apply to this helper process.");
        case Authorization::kNotDetermined:
            return requestMicrophoneAccess();
        default:
            log_.line("Unknown AVAuthorizationStatus; refusing to start.");
            return refuse("Unexpected microphone authorization state; cannot start recording.");
    }
}

bool CapturePermissions::requestMicrophoneAccess() const {
    log_.line(
        "Status notDetermined — calling requestAccess(for: .audio); system prompt may appear.");
    const auto answered = queues_.makeSemaphore();
    bool granted = false;
    authorization_.requestMicrophoneAccess([&granted, answered](bool answer) {
        granted = answer;
        answered->signal();
    });
    answered->wait();
    log_.line(std::string("requestAccess(for: .audio) finished; granted=") + boolText(granted));
    if (granted) return true;
    return refuse(
        "Microphone access was not granted. Enable Microphone for tapwell in System Settings → "
        "Privacy & Security → Microphone.");
}

bool CapturePermissions::refuse(const std::string& message) const {
    events_.emitEvent(ErrorEvent{kRecorderMicPermissionDenied, message});
    return false;
}

}  // namespace tapwell
