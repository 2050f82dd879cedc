#include "Fakes/FakeSystem.h"
#include "Platform/macOS/ProcessTap.h"

// Below this function the host speaks Objective-C, which does not run here.
namespace tapwell {

OSStatus createProcessTap(const TapDescription&, AudioObjectID& outTap) {
    auto& system = maccheck::FakeSystem::get();
    const OSStatus status = system.called("AudioHardwareCreateProcessTap");
    if (status != noErr) return status;
    outTap = ++system.lastObject;
    system.taps.insert(outTap);
    system.properties[{outTap, kAudioTapPropertyFormat}] =
        ::AudioStreamBasicDescription{48000,
                                      ::kAudioFormatLinearPCM,
                                      ::kAudioFormatFlagIsFloat | ::kAudioFormatFlagIsPacked,
                                      8,
                                      1,
                                      8,
                                      2,
                                      32,
                                      0};
    return noErr;
}

OSStatus destroyProcessTap(AudioObjectID tap) {
    auto& system = maccheck::FakeSystem::get();
    if (!system.aggregates.empty()) system.violated("destroyed a tap below its aggregate");
    if (system.taps.erase(tap) == 0) system.violated("destroyed an unknown tap");
    return system.called("AudioHardwareDestroyProcessTap", tap);
}

}  // namespace tapwell
