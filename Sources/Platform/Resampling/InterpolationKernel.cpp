#include "Platform/Resampling/InterpolationKernel.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tapwell {
namespace {

constexpr double kStopbandDb = 150.0;
constexpr double kKaiserBeta = 0.1102 * (kStopbandDb - 8.7);

/// Modified Bessel function of the first kind, order 0, by its power series.
double besselI0(double x) {
    double sum = 1, term = 1;
    for (int k = 1; term > sum * 1e-18; ++k) {
        term *= (x / 2 / k) * (x / 2 / k);
        sum += term;
    }
    return sum;
}

double kernelAt(double position) {
    const double edge = position / static_cast<double>(InterpolationKernel::kHalfWidth);
    if (position == 0) return 1;
    if (std::abs(edge) >= 1 || position == std::floor(position)) return 0;
    const double window =
        besselI0(kKaiserBeta * std::sqrt(1 - edge * edge)) / besselI0(kKaiserBeta);
    const double angle = std::numbers::pi * position;
    return window * std::sin(angle) / angle;
}

}  // namespace

const InterpolationKernel& InterpolationKernel::shared() {
    static const InterpolationKernel kernel;
    return kernel;
}

InterpolationKernel::InterpolationKernel() {
    cubics_.reserve(kPhases * kWidth);
    for (std::size_t phase = 0; phase < kPhases; ++phase) {
        for (std::size_t tap = 0; tap < kWidth; ++tap) {
            const double offset = static_cast<double>(tap) - (kHalfWidth - 1.0);
            const auto entry = [&](double ahead) {
                return kernelAt(offset - (static_cast<double>(phase) + ahead) / kPhases);
            };
            const double before = entry(-1), here = entry(0), next = entry(1), after = entry(2);
            // Lagrange's cubic through the four entries.
            cubics_.push_back({here, next - before / 3 - here / 2 - after / 6,
                               (before + next) / 2 - here,
                               (here - next) / 2 + (after - before) / 6});
        }
    }
}

float InterpolationKernel::apply(const float* samples, double fraction) const {
    const double place = fraction * kPhases;
    const std::size_t phase = std::min(static_cast<std::size_t>(place), kPhases - 1);
    const double m = place - static_cast<double>(phase);
    const Cubic* const row = cubics_.data() + phase * kWidth;
    Cubic even{}, odd{};  // two chains of additions run side by side
    for (std::size_t tap = 0; tap < kWidth; tap += 2) {
        const double first = samples[tap], second = samples[tap + 1];
        for (std::size_t power = 0; power < 4; ++power) {
            even[power] += first * row[tap][power];
            odd[power] += second * row[tap + 1][power];
        }
    }
    double value = 0;
    for (std::size_t power = 4; power-- > 0;)
        value = value * m + (even[power] + odd[power]);
    return static_cast<float>(value);
}

}  // namespace tapwell
