#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace tapwell {

/// A sinc with its cutoff at the Nyquist frequency under a Kaiser window, for values of a sampled
/// signal between the samples. Immutable; any thread.
///
/// The kernel is tabulated at kPhases fractions of a sample and read in between by a cubic through
/// the four nearest entries, whose error, about 0.023 (pi / kPhases)^4, is -161 dB at the Nyquist
/// frequency. Window and width set the rest: stopband -150 dB, flat up to 0.897 of the Nyquist
/// frequency (J. F. Kaiser's formulas for the parameter and the transition width).
class InterpolationKernel {
public:
    static constexpr std::size_t kHalfWidth = 48;
    static constexpr std::size_t kWidth = 2 * kHalfWidth;

    /// Made at the first call, which takes some milliseconds.
    static const InterpolationKernel& shared();

    /// The signal at `fraction`, in [0, 1), behind samples[kHalfWidth - 1]. Reads kWidth samples.
    float apply(const float* samples, double fraction) const;

private:
    static constexpr std::size_t kPhases = 128;
    /// The coefficients of 1, m, m^2 and m^3 for m from 0 to 1 between two phases.
    using Cubic = std::array<double, 4>;

    InterpolationKernel();

    std::vector<Cubic> cubics_;  ///< kPhases rows of kWidth
};

}  // namespace tapwell
