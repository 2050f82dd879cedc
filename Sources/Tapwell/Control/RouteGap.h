#pragma once

#include "Platform/Clock.h"

#include <cstdint>

namespace tapwell {

/// Samples of silence that stand for the time from `start` to `end` (host ticks) at `sampleRate`
/// in Hz, rounded; none when the end is the earlier one. Ends the process for more than a 64-bit
/// integer holds.
std::int64_t silenceSamplesMach(std::uint64_t start, std::uint64_t end, double sampleRate,
                                Clock::Timebase timebase);

}  // namespace tapwell
