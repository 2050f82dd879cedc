#pragma once

#include "Platform/AudioFormat.h"
#include "Platform/AudioObject.h"
#include "Platform/Simulated/VirtualTime.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tapwell {

/// A device of the simulated hardware, with a knob for each thing that goes wrong with real ones.
/// A speaker delivers, through a tap, what is played to it.
struct SimulatedDevice {
    std::string uid;
    bool isInput = false;
    /// What its I/O procedures deliver.
    AudioFormat format = *AudioFormat::make(CommonFormat::pcmFloat32, 48000, 2, true);
    std::uint32_t transportType = kAudioDeviceTransportTypeBuiltIn;
    /// The sound at a moment of virtual time, in seconds; the same on all channels.
    std::function<float(double seconds)> signal = [](double) { return 0.0F; };
    /// Whether a cycle that begins at this moment has any sound; for hours of which most is
    /// silence.
    std::function<bool(double seconds)> isAudible = [](double) { return true; };
    std::uint32_t framesPerCycle = 480;

    /// Time from start to the first captured frame.
    VirtualTime::Duration startLatency{0};
    /// How much faster than its nominal rate the device's crystal runs.
    double clockErrorPpm = 0;
    /// Starts but never delivers.
    bool deliversNothing = false;
    /// Cycles (counted from 0) whose audio is lost.
    std::function<bool(std::int64_t cycle)> losesCycle = [](std::int64_t) { return false; };
    bool stampsHostTime = true;
    bool stampsSampleTime = true;

    // Answers of property reads; absent where the default is to follow `format`.
    std::optional<double> nominalRate;
    std::optional<double> actualRate;
    bool nominalRateUnreadable = false;
    bool actualRateUnreadable = false;
    bool streamFormatUnreadable = false;
    bool uidIsNoString = false;

    double nominalHz() const { return nominalRate.value_or(format.sampleRate()); }
    double actualHz() const { return actualRate.value_or(format.sampleRate()); }
    /// Frames that the device really makes in a second.
    double trueHz() const { return format.sampleRate() * (1 + clockErrorPpm * 1e-6); }
};

}  // namespace tapwell
