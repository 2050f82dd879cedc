#pragma once

#include <span>
#include <vector>

namespace tapwell::test {

/// Sines of known frequencies, and a constant, fitted to samples by least squares.
struct MultiToneFit {
    std::vector<double> amplitudes;     ///< In the order of the frequencies.
    std::vector<double> phasesRadians;  ///< At the first sample.
    double residualRms = 0;             ///< What the tones leave unexplained.

    static MultiToneFit of(std::span<const float> samples, double sampleRate,
                           std::span<const double> frequenciesHz);
};

/// The frequency of a steady tone near `guessHz`, from the advance of its phase along the samples.
/// Exact as long as the guess is off by less than five hertz.
double measuredFrequencyHz(std::span<const float> samples, double sampleRate, double guessHz);

/// The RMS that a steady tone leaves unexplained in each successive window of `windowSize`
/// samples: a click, a gap, a repeat or a jump of phase stands out of the codec's noise.
std::vector<double> windowResiduals(std::span<const float> samples, double sampleRate,
                                    double frequencyHz, std::size_t windowSize);

}  // namespace tapwell::test
