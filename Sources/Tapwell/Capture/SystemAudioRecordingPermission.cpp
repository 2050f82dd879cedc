#include "Tapwell/Capture/SystemAudioRecordingPermission.h"

#include "Tapwell/Capture/RecorderCoreAudioError.h"
#include "Tapwell/Capture/SystemAudioTapSession.h"

#include <exception>

namespace tapwell {

SystemAudioRecordingPermission::Status SystemAudioRecordingPermission::currentStatus() const {
    const auto preflight = services_.authorization.systemAudioPreflight();
    if (preflight == 0) return Status::granted;
    if (preflight == 1) return Status::denied;
    return Status::notDetermined;
}

SystemAudioRecordingPermission::Status SystemAudioRecordingPermission::request() const {
    if (currentStatus() == Status::granted) return Status::granted;
    const auto answered = services_.queues.makeSemaphore();
    Status answer = Status::notDetermined;
    triggerPermissionViaTapStart([&](Status status) {
        answer = status;
        answered->signal();
    });
    answered->wait();
    return answer;
}

/// The system asks when a process first starts a tap, so one is started for a moment. How that goes
/// does not matter, only what the system says afterwards.
void SystemAudioRecordingPermission::triggerPermissionViaTapStart(
    const std::function<void(Status)>& completion) const {
    const auto tap = SystemAudioTapSession::create(services_.hardware, services_.environment,
                                                   Log(services_.streams, "system-tap"));
    const auto queue =
        services_.queues.makeSerialQueue("com.tolvane.tapwell.recorder.system-audio-permission");
    try {
        tap->prepareExcludeTapwellPid();
        tap->run(queue, *tap->tapAVFormat(), nullptr,
                 [](const PcmBuffer&, const AudioTimeStamp&) {});
    } catch (const RecorderCoreAudioError&) {
        // The status below tells what there is to tell.
    }
    tap->stopAndTeardown();
    completion(currentStatus());
}

std::string SystemAudioRecordingPermission::rawValue(Status status) {
    switch (status) {
        case Status::granted:
            return "granted";
        case Status::denied:
            return "denied";
        case Status::notDetermined:
            break;
    }
    return "not-determined";
}

}  // namespace tapwell
