#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tapwell::test {

/// Samples of amplitude * sin(2 pi cyclesPerSample k + phaseRadians), each from its own exact
/// phase.
std::vector<float> makeTone(double cyclesPerSample, std::size_t count, double amplitude = 0.5,
                            double phaseRadians = 0);

/// What is left of `samples` when the best tone of a known frequency and a constant are taken out.
struct ToneFit {
    double amplitude = 0;
    /// Of the sine at the first sample, in (-pi, pi].
    double phaseRadians = 0;
    double offset = 0;
    double residualRms = 0;
    double residualPeak = 0;

    /// Distortion and noise against the tone, in dB; negative when the tone is the stronger.
    double thdPlusNoiseDb() const;
};

/// Least-squares fit of a tone at `cyclesPerSample`.
ToneFit fitTone(std::span<const float> samples, double cyclesPerSample);

/// The largest break in a steady tone: over half-overlapping windows of `windowSamples`, the
/// highest residual peak against the amplitude, in dB. In each window the frequency is refined
/// first, so that slow drift is no break.
double worstToneBreakDb(std::span<const float> samples, double cyclesPerSample,
                        std::size_t windowSamples = 256);

}  // namespace tapwell::test
