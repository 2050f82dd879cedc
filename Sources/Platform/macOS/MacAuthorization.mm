#include "Platform/macOS/MacAuthorization.h"

#include "Platform/macOS/TccPreflight.h"

#include <AVFoundation/AVFoundation.h>

namespace tapwell {

static_assert(Authorization::kNotDetermined == AVAuthorizationStatusNotDetermined);
static_assert(Authorization::kRestricted == AVAuthorizationStatusRestricted);
static_assert(Authorization::kDenied == AVAuthorizationStatusDenied);
static_assert(Authorization::kAuthorized == AVAuthorizationStatusAuthorized);

long MacAuthorization::microphoneStatus() {
    @autoreleasepool {
        return [AVCaptureDevice authorizationStatusForMediaType:AVMediaTypeAudio];
    }
}

void MacAuthorization::requestMicrophoneAccess(std::function<void(bool granted)> completion) {
    @autoreleasepool {
        [AVCaptureDevice requestAccessForMediaType:AVMediaTypeAudio
                                 completionHandler:^(BOOL granted) {
                                     completion(granted);
                                 }];
    }
}

std::optional<int> MacAuthorization::systemAudioPreflight() {
    return tccAudioCapturePreflight();
}

}  // namespace tapwell
