#include "Platform/macOS/ProcessTap.h"

#include <CoreAudio/AudioHardwareTapping.h>
#include <CoreAudio/CATapDescription.h>
#include <CoreAudio/CoreAudio.h>
#include <Foundation/Foundation.h>

namespace tapwell {
namespace {

CATapDescription* makeDescription(const TapDescription& description) {
    NSMutableArray<NSNumber*>* processes = [NSMutableArray array];
    for (const AudioObjectID process : description.excludedProcesses)
        [processes addObject:[NSNumber numberWithUnsignedInt:process]];
    CATapDescription* tap =
        [[CATapDescription alloc] initStereoGlobalTapButExcludeProcesses:processes];
    tap.name = [NSString stringWithUTF8String:description.name.c_str()];
    NSUUID* uuid = [[NSUUID alloc]
        initWithUUIDString:[NSString stringWithUTF8String:description.uuid.c_str()]];
    if (uuid != nil) tap.UUID = uuid;
    tap.muteBehavior = static_cast<CATapMuteBehavior>(description.muteBehavior);
    return tap;
}

}  // namespace

OSStatus createProcessTap(const TapDescription& description, AudioObjectID& outTap) {
    @autoreleasepool {
        ::AudioObjectID tap = ::kAudioObjectUnknown;
        const OSStatus status = AudioHardwareCreateProcessTap(makeDescription(description), &tap);
        if (status == noErr) outTap = tap;
        return status;
    }
}

OSStatus destroyProcessTap(AudioObjectID tap) {
    return AudioHardwareDestroyProcessTap(tap);
}

}  // namespace tapwell
