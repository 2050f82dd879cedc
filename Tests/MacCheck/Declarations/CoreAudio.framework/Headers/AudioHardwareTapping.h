#pragma once

#include <CoreAudio/CATapDescription.h>

extern "C" {
OSStatus AudioHardwareCreateProcessTap(CATapDescription* description, AudioObjectID* outTap)
    __attribute__((availability(macos, introduced = 14.2)));
OSStatus AudioHardwareDestroyProcessTap(AudioObjectID tap)
    __attribute__((availability(macos, introduced = 14.2)));
}
