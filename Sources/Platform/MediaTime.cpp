#include "Platform/MediaTime.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace tapwell {
namespace {

__extension__ using Wide = __int128;

constexpr Wide kMaxValue = std::numeric_limits<std::int64_t>::max();

/// value × to ÷ from, rounded to nearest, half away from zero.
Wide rescale(Wide value, std::int32_t from, std::int32_t to, bool& rounded) {
    const Wide scaled = value * to;
    const Wide quotient = scaled / from;
    const Wide remainder = scaled % from;
    if (remainder == 0) return quotient;
    rounded = true;
    const Wide magnitude = remainder < 0 ? -remainder : remainder;
    if (magnitude * 2 < from) return quotient;
    return scaled < 0 ? quotient - 1 : quotient + 1;
}

MediaTime combine(const MediaTime& a, const MediaTime& b, int sign) {
    if (!a.isNumeric() || !b.isNumeric()) return MediaTime::invalid();
    std::int64_t common = std::lcm(std::int64_t{a.timescale}, std::int64_t{b.timescale});
    if (common > std::numeric_limits<std::int32_t>::max())
        common = std::max(a.timescale, b.timescale);
    const auto timescale = static_cast<std::int32_t>(common);

    bool rounded = ((a.flags | b.flags) & MediaTime::kRounded) != 0;
    const Wide sum = rescale(a.value, a.timescale, timescale, rounded) +
                     sign * rescale(b.value, b.timescale, timescale, rounded);
    if (sum > kMaxValue || sum < -kMaxValue) return MediaTime::invalid();

    MediaTime result = MediaTime::make(static_cast<std::int64_t>(sum), timescale);
    if (rounded) result.flags |= MediaTime::kRounded;
    result.epoch = sign > 0 ? a.epoch + b.epoch : a.epoch - b.epoch;
    return result;
}

}  // namespace

MediaTime MediaTime::make(std::int64_t value, std::int32_t timescale) {
    return MediaTime{value, timescale, timescale > 0 ? kValid : 0U, 0};
}

MediaTime MediaTime::fromSeconds(double seconds, std::int32_t timescale) {
    if (std::isnan(seconds) || timescale <= 0) return invalid();
    const double ticks = std::round(seconds * timescale);
    // 2^63 is exactly representable; anything at or past it does not fit.
    if (std::abs(ticks) >= 9223372036854775808.0) {
        MediaTime infinite = make(0, timescale);
        infinite.flags |= seconds > 0 ? kPositiveInfinity : kNegativeInfinity;
        return infinite;
    }
    MediaTime time = make(static_cast<std::int64_t>(ticks), timescale);
    if (static_cast<double>(time.value) / timescale != seconds) time.flags |= kRounded;
    return time;
}

double MediaTime::seconds() const {
    if (!isNumeric()) return std::numeric_limits<double>::quiet_NaN();
    return static_cast<double>(value) / timescale;
}

MediaTime operator+(const MediaTime& a, const MediaTime& b) {
    return combine(a, b, 1);
}
MediaTime operator-(const MediaTime& a, const MediaTime& b) {
    return combine(a, b, -1);
}

int compare(const MediaTime& a, const MediaTime& b) {
    const Wide left = Wide{a.value} * b.timescale;
    const Wide right = Wide{b.value} * a.timescale;
    return left < right ? -1 : (left > right ? 1 : 0);
}

}  // namespace tapwell
