#pragma once

#include "Platform/FourCharCode.h"

#include <cstdint>

namespace tapwell {

/// Names one object of the audio hardware's object model: the system, a device, a process, a tap
/// or an aggregate device. 0 means "none". Ids are not reused within one process's lifetime.
using AudioObjectID = std::uint32_t;

inline constexpr AudioObjectID kAudioObjectUnknown = 0;
inline constexpr AudioObjectID kAudioObjectSystemObject = 1;

struct AudioObjectPropertyAddress {
    std::uint32_t selector = 0;
    std::uint32_t scope = 0;
    std::uint32_t element = 0;

    friend bool operator==(const AudioObjectPropertyAddress&,
                           const AudioObjectPropertyAddress&) = default;
};

inline constexpr std::uint32_t kAudioObjectPropertyScopeGlobal = fourCharCode("glob");
inline constexpr std::uint32_t kAudioObjectPropertyScopeInput = fourCharCode("inpt");
inline constexpr std::uint32_t kAudioObjectPropertyScopeOutput = fourCharCode("outp");
inline constexpr std::uint32_t kAudioObjectPropertyElementMain = 0;

// Of the system object. Each holds an AudioObjectID.
inline constexpr std::uint32_t kAudioHardwarePropertyDefaultSystemOutputDevice =
    fourCharCode("sOut");
inline constexpr std::uint32_t kAudioHardwarePropertyDefaultOutputDevice = fourCharCode("dOut");
inline constexpr std::uint32_t kAudioHardwarePropertyDefaultInputDevice = fourCharCode("dIn ");
/// Qualifier: a signed 32-bit process id. 0 when that process has no audio object.
inline constexpr std::uint32_t kAudioHardwarePropertyTranslatePIDToProcessObject =
    fourCharCode("id2p");

// Of a device (an aggregate device included).
/// PropertyObjectRef holding text; stable for a device over restarts of server and machine.
inline constexpr std::uint32_t kAudioDevicePropertyDeviceUID = fourCharCode("uid ");
/// 64-bit float, Hz: the rate that the device is set to.
inline constexpr std::uint32_t kAudioDevicePropertyNominalSampleRate = fourCharCode("nsrt");
/// 64-bit float, Hz: the rate at which the device runs now.
inline constexpr std::uint32_t kAudioDevicePropertyActualSampleRate = fourCharCode("asrt");
/// Unsigned 32-bit, one of the transport types below or another four-character code.
inline constexpr std::uint32_t kAudioDevicePropertyTransportType = fourCharCode("tran");
/// AudioStreamBasicDescription of the buffers that an I/O procedure gets (input scope).
inline constexpr std::uint32_t kAudioStreamPropertyVirtualFormat = fourCharCode("sfmt");

// Of a process tap: AudioStreamBasicDescription of what the tap delivers.
inline constexpr std::uint32_t kAudioTapPropertyFormat = fourCharCode("tfmt");

inline constexpr std::uint32_t kAudioDeviceTransportTypeBluetooth = fourCharCode("blue");
inline constexpr std::uint32_t kAudioDeviceTransportTypeBluetoothLE = fourCharCode("blea");
inline constexpr std::uint32_t kAudioDeviceTransportTypeBuiltIn = fourCharCode("bltn");
inline constexpr std::uint32_t kAudioDeviceTransportTypeVirtual = fourCharCode("virt");
inline constexpr std::uint32_t kAudioDeviceTransportTypeUnknown = 0;

}  // namespace tapwell
