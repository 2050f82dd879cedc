#pragma once

#include "Platform/AudioHardware.h"
#include "Platform/AudioStreamBasicDescription.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tapwell {

// Synchronous reads of single properties, on any thread that may wait for the audio system.
// Optional results are absent when the read fails; the others throw
// RecorderCoreAudioError::wrapped with the status as a signed decimal number. Rates are in Hz; a
// rate that is not positive is to be treated as unknown by the caller.

/// The default *system* output device, the one whose mix a recording captures. 0 is passed on as
/// it was read.
std::optional<AudioObjectID> recorderDefaultSystemOutputDeviceObjectID(AudioHardware& hardware);
std::optional<AudioObjectID> recorderDefaultInputDeviceObjectID(AudioHardware& hardware);

std::optional<double> recorderActualSampleRate(AudioHardware& hardware, AudioObjectID device);
std::optional<double> recorderNominalSampleRate(AudioHardware& hardware, AudioObjectID device);
std::optional<std::uint32_t> recorderTransportType(AudioHardware& hardware, AudioObjectID device);
std::optional<AudioStreamBasicDescription> recorderVirtualInputStreamFormat(AudioHardware& hardware,
                                                                            AudioObjectID device);

AudioStreamBasicDescription recorderTapStreamBasicDescription(AudioHardware& hardware,
                                                              AudioObjectID tap);

/// The audio process object of a process id.
AudioObjectID recorderTranslate(AudioHardware& hardware, std::int32_t pid);

/// A text property of an object, such as a device's UID.
std::string recorderReadCFStringDeviceProperty(AudioHardware& hardware, AudioObjectID objectID,
                                               std::uint32_t selector);

}  // namespace tapwell
