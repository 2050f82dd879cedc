#include "Tapwell/Control/RouteGap.h"

#include "RecorderMixBus/Precondition.h"

#include <cmath>

namespace tapwell {

std::int64_t silenceSamplesMach(std::uint64_t start, std::uint64_t end, double sampleRate,
                                Clock::Timebase timebase) {
    const auto ticks = static_cast<double>(static_cast<std::int64_t>(end - start));
    const double seconds = ticks * timebase.numerator / timebase.denominator / 1e9;
    const double samples = seconds * sampleRate + 0.5;
    precondition(std::isfinite(samples) && std::abs(samples) < 9223372036854775808.0,
                 "silence of a route gap out of range");
    return samples > 0 ? static_cast<std::int64_t>(samples) : 0;
}

}  // namespace tapwell
