#pragma once

#include "Platform/FourCharCode.h"

#include <cstdint>

namespace tapwell {

/// Result of a platform call: 0 is success, anything else a failure. Printed in messages as a
/// signed decimal number, never as its four characters.
using OSStatus = std::int32_t;

constexpr OSStatus osStatus(const char (&code)[5]) {
    return static_cast<OSStatus>(fourCharCode(code));
}

inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus kAudioHardwareNotRunningError = osStatus("stop");
inline constexpr OSStatus kAudioHardwareUnspecifiedError = osStatus("what");
inline constexpr OSStatus kAudioHardwareUnknownPropertyError = osStatus("who?");
inline constexpr OSStatus kAudioHardwareBadPropertySizeError = osStatus("!siz");
inline constexpr OSStatus kAudioHardwareIllegalOperationError = osStatus("nope");
inline constexpr OSStatus kAudioHardwareBadObjectError = osStatus("!obj");
inline constexpr OSStatus kAudioHardwareBadDeviceError = osStatus("!dev");
inline constexpr OSStatus kAudioHardwareNotReadyError = osStatus("nrdy");
inline constexpr OSStatus kAudioDeviceUnsupportedFormatError = osStatus("!dat");
/// The user or the audio server has not granted this process access to the device.
inline constexpr OSStatus kAudioDevicePermissionsError = osStatus("!hog");

}  // namespace tapwell
