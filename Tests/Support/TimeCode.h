#pragma once

#include <cmath>
#include <cstddef>
#include <span>

namespace tapwell::test {

/// A sound whose samples tell when they were made, within the first twenty seconds. It lies between
/// 0.05 and 1 and thus is never silent; negated, it tells the same.
struct TimeCode {
    static constexpr double rate = 48000;  ///< Hz, at which it is read
    /// Samples on either side of one that is read which must belong to the same sound.
    static constexpr std::size_t reach = 240;

    /// The sound at a moment, in seconds.
    float (*at)(double seconds);
    /// The moment, in seconds, at which a sample was made.
    double (*timeOf)(std::span<const float> samples, std::size_t index);

    /// It rises all the time. Tells the time of 32-bit floats within a small part of a sample, that
    /// of 16-bit samples within 40.
    static constexpr TimeCode slope() {
        return {[](double seconds) { return static_cast<float>(0.05 + seconds / 25); },
                [](std::span<const float> samples, std::size_t index) {
                    return (std::abs(samples[index]) - 0.05) * 25;
                }};
    }

    /// It rises, which tells the time roughly, and swings, which tells it exactly: within a
    /// thirtieth of a sample also in 16 bits.
    static constexpr TimeCode swingingSlope() {
        return {[](double seconds) {
                    return static_cast<float>(kFoot + kRise * seconds +
                                              kSwing * std::sin(2 * M_PI * seconds / kPeriod));
                },
                timeOfSwing};
    }

private:
    static constexpr double kFoot = 0.2;
    static constexpr double kRise = 0.02;  // a second
    static constexpr double kSwing = 0.15;
    static constexpr double kPeriod = 2 * reach / rate;  // seconds

    /// Half a period on either side tells sine and slope apart, a quarter tells the cosine.
    static double timeOfSwing(std::span<const float> samples, std::size_t index) {
        const auto value = [&](std::size_t i) { return std::abs(double{samples[i]}); };
        const double around = (value(index - reach) + value(index + reach)) / 2;
        const double sine = value(index) - around;
        const double cosine = value(index + reach / 2) - value(index - reach / 2) -
                              kRise * static_cast<double>(reach) / rate;
        const double roughly = ((value(index) + around) / 2 - kFoot) / kRise;
        const double exactly = std::atan2(sine, cosine) / (2 * M_PI) * kPeriod;
        return exactly + kPeriod * std::round((roughly - exactly) / kPeriod);
    }
};

}  // namespace tapwell::test
