#include "Support/ToneBurst.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>

namespace tapwell::test {
namespace {

using std::numbers::pi;

constexpr double weakestPeak = 0.02;

double hann(double position) {
    return 0.5 - 0.5 * std::cos(2 * pi * position);
}

/// The strength at each sample of the burst that would be centred there, in units of its peak: the
/// magnitude of the correlation with the burst's analytic form, so that its phase does not matter.
std::vector<double> correlationWith(double frequencyHz, double durationSeconds,
                                    std::span<const float> samples, double sampleRate) {
    const auto half = static_cast<std::ptrdiff_t>(durationSeconds * sampleRate / 2);
    std::vector<std::complex<double>> pattern;
    double energy = 0;
    for (std::ptrdiff_t index = -half; index <= half; ++index) {
        const double seconds = static_cast<double>(index) / sampleRate;
        const double window = hann(0.5 + seconds / durationSeconds);
        pattern.push_back(std::polar(window, -2 * pi * frequencyHz * seconds));
        energy += window * window / 2;
    }
    const auto count = static_cast<std::ptrdiff_t>(samples.size());
    std::vector<double> strengths(samples.size());
    for (std::ptrdiff_t centre = 0; centre < count; ++centre) {
        std::complex<double> sum = 0;
        const std::ptrdiff_t first = std::max<std::ptrdiff_t>(-half, -centre);
        const std::ptrdiff_t last = std::min(half, count - 1 - centre);
        for (std::ptrdiff_t index = first; index <= last; ++index) {
            sum += pattern[static_cast<std::size_t>(index + half)] *
                   static_cast<double>(samples[static_cast<std::size_t>(centre + index)]);
        }
        strengths[static_cast<std::size_t>(centre)] = std::abs(sum) / energy;
    }
    return strengths;
}

/// The place of the top of the parabola through three neighbouring values, in (-1, 1) around the
/// middle one.
double parabolaTop(double before, double middle, double after) {
    const double curvature = before - 2 * middle + after;
    return curvature == 0 ? 0 : 0.5 * (before - after) / curvature;
}

}  // namespace

void ToneBurst::addTo(std::span<float> samples, double sampleRate, double seconds,
                      double peak) const {
    const auto first = static_cast<std::ptrdiff_t>(
        std::ceil(std::max(0.0, seconds - durationSeconds / 2) * sampleRate));
    const auto last =
        std::min(static_cast<std::ptrdiff_t>((seconds + durationSeconds / 2) * sampleRate),
                 static_cast<std::ptrdiff_t>(samples.size()) - 1);
    for (std::ptrdiff_t index = first; index <= last; ++index) {
        const double offset = static_cast<double>(index) / sampleRate - seconds;
        samples[static_cast<std::size_t>(index)] += static_cast<float>(
            peak * hann(0.5 + offset / durationSeconds) * std::cos(2 * pi * frequencyHz * offset));
    }
}

std::vector<double> ToneBurst::find(std::span<const float> samples, double sampleRate) const {
    const std::vector<double> strengths =
        correlationWith(frequencyHz, durationSeconds, samples, sampleRate);
    const double strongest =
        strengths.empty() ? 0.0 : *std::max_element(strengths.begin(), strengths.end());
    std::vector<double> times;
    if (strongest < weakestPeak) return times;

    const auto reach = static_cast<std::size_t>(durationSeconds * sampleRate);
    for (std::size_t centre = 1; centre + 1 < strengths.size(); ++centre) {
        if (strengths[centre] < strongest / 3) continue;
        const std::size_t first = centre - std::min(reach, centre);
        const std::size_t last = std::min(centre + reach, strengths.size() - 1);
        const auto top =
            std::max_element(strengths.begin() + static_cast<std::ptrdiff_t>(first),
                             strengths.begin() + static_cast<std::ptrdiff_t>(last) + 1);
        if (top - strengths.begin() != static_cast<std::ptrdiff_t>(centre)) continue;
        const double offset =
            parabolaTop(strengths[centre - 1], strengths[centre], strengths[centre + 1]);
        times.push_back((static_cast<double>(centre) + offset) / sampleRate);
    }
    return times;
}

}  // namespace tapwell::test
