#include "Fakes/FakeObjects.h"
#include "Fakes/FakeSystem.h"

#include <CoreAudio/AudioHardwareTapping.h>

@implementation CATapDescription {
    NSArray<NSNumber*>* excluded_;
    NSString* name_;
    NSUUID* uuid_;
}
@synthesize muteBehavior = muteBehavior_;
@dynamic bundleIDs;

- (instancetype)initStereoGlobalTapButExcludeProcesses:(NSArray<NSNumber*>*)processes {
    excluded_ = processes;
    return self;
}
- (NSString*)name {
    return name_;
}
- (void)setName:(NSString*)name {
    name_ = name;
}
- (NSUUID*)UUID {
    return uuid_;
}
- (void)setUUID:(NSUUID*)uuid {
    uuid_ = uuid;
}
- (void)appendTextTo:(std::string&)text {
    text += maccheck::textOf(name_) + ' ' +
            (uuid_ == nil ? "the system's own" : maccheck::textOf(uuid_)) + " but " +
            maccheck::textOf(excluded_) + " mute " + std::to_string(muteBehavior_);
}
@end

OSStatus AudioHardwareCreateProcessTap(CATapDescription* description, AudioObjectID* outTap) {
    auto& system = maccheck::FakeSystem::get();
    system.lastTap = maccheck::textOf(description);
    // The system writes the output also when it fails.
    *outTap = kAudioObjectUnknown;
    const OSStatus status = system.called(__func__);
    if (status != noErr) return status;
    const AudioObjectID tap = *outTap = ++system.lastObject;
    system.taps.insert(tap);
    system.properties[{tap, kAudioTapPropertyFormat}] =
        AudioStreamBasicDescription{48000,
                                    kAudioFormatLinearPCM,
                                    kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked,
                                    8,
                                    1,
                                    8,
                                    2,
                                    32,
                                    0};
    return noErr;
}

OSStatus AudioHardwareDestroyProcessTap(AudioObjectID tap) {
    auto& system = maccheck::FakeSystem::get();
    if (!system.aggregates.empty()) system.violated("destroyed a tap below its aggregate");
    if (system.taps.erase(tap) == 0) system.violated("destroyed an unknown tap");
    return system.called(__func__, tap);
}
