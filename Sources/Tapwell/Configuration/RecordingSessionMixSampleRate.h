#pragma once

#include "Platform/AudioHardware.h"

#include <optional>

namespace tapwell {

/// The rule that picks a session's mix rate from what the output route reports. Rates in Hz.
struct RecordingSessionMixSampleRate {
    /// The standard rate closest to `rate`, the lower one of two that are equally close; 48000 for
    /// a rate that is not finite and positive.
    static double pickNearestStandard(double rate);

    /// Wide-band routes get 48000, narrow-band headset routes exactly the rate that they deliver.
    /// `defaultOutputDeviceID`: absent or 0 when there is none. Reads the device's nominal rate and
    /// transport type; on any thread that may wait for the audio system.
    static double resolveRouteCaptureRateHz(AudioHardware& hardware,
                                            std::optional<AudioObjectID> defaultOutputDeviceID,
                                            double tapNominalHz,
                                            std::optional<double> aggregateActualSampleRateHz);
};

}  // namespace tapwell
