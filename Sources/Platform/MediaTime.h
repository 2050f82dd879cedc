#pragma once

#include <cstdint>

namespace tapwell {

/// A rational time, value / timescale seconds, as media containers use it. A value type.
struct MediaTime {
    static constexpr std::uint32_t kValid = 1;
    static constexpr std::uint32_t kRounded = 2;
    static constexpr std::uint32_t kPositiveInfinity = 4;
    static constexpr std::uint32_t kNegativeInfinity = 8;
    static constexpr std::uint32_t kIndefinite = 16;

    std::int64_t value = 0;
    std::int32_t timescale = 0;
    std::uint32_t flags = 0;
    std::int64_t epoch = 0;

    /// Valid when the timescale is positive.
    static MediaTime make(std::int64_t value, std::int32_t timescale);
    /// Rounds to the nearest tick, half away from zero, and marks a rounded time so. Infinite
    /// seconds give an infinite time, NaN an invalid one.
    static MediaTime fromSeconds(double seconds, std::int32_t timescale);
    static MediaTime zero() { return make(0, 1); }
    static MediaTime invalid() { return MediaTime{}; }

    bool isValid() const { return (flags & kValid) != 0; }
    /// Valid and finite.
    bool isNumeric() const {
        return (flags & (kValid | kPositiveInfinity | kNegativeInfinity | kIndefinite)) == kValid;
    }
    /// NaN when not numeric.
    double seconds() const;
};

/// Sum and difference at the common timescale: the operands' own when they share one, else their
/// least common multiple, or the larger of the two (rounding to the nearest tick and marking it)
/// when that does not fit. Invalid when an operand is not numeric or the value overflows.
MediaTime operator+(const MediaTime& a, const MediaTime& b);
MediaTime operator-(const MediaTime& a, const MediaTime& b);

/// Orders numeric times by their exact value: negative, zero or positive as a is before, at or
/// after b. Both must be numeric.
int compare(const MediaTime& a, const MediaTime& b);

}  // namespace tapwell
