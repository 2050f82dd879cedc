#include "Fakes/FakeObjects.h"
#include "Fakes/FakeSystem.h"

#include <AVFoundation/AVFoundation.h>

@implementation AVCaptureDevice
+ (AVAuthorizationStatus)authorizationStatusForMediaType:(AVMediaType)type {
    auto& system = maccheck::FakeSystem::get();
    system.called("+[AVCaptureDevice authorizationStatusForMediaType:]", maccheck::textOf(type));
    return static_cast<AVAuthorizationStatus>(system.microphoneStatus);
}
+ (void)requestAccessForMediaType:(AVMediaType)type
                completionHandler:(void (^)(BOOL granted))handler {
    auto& system = maccheck::FakeSystem::get();
    system.called("+[AVCaptureDevice requestAccessForMediaType:]", maccheck::textOf(type));
    maccheck::submit(nullptr, [handler] { handler(maccheck::FakeSystem::get().grantsMicrophone); });
}
@end
