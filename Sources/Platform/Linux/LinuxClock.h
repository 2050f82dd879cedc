#pragma once

#include "Platform/Clock.h"

namespace tapwell {

/// Host ticks are nanoseconds of CLOCK_MONOTONIC, the clock of PipeWire's time stamps.
class LinuxClock final : public Clock {
public:
    std::uint64_t hostTicks() const override;
    Timebase timebase() const override { return {}; }
    Date now() const override;
};

}  // namespace tapwell
