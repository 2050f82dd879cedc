#pragma once

#include "Platform/Clock.h"

namespace tapwell {

/// Host ticks of the system, the clock of every audio time stamp. It stands still while the machine
/// sleeps, and so does the date here.
class MachClock final : public Clock {
public:
    MachClock();

    std::uint64_t hostTicks() const override;
    Timebase timebase() const override { return timebase_; }
    Date now() const override;

private:
    Timebase timebase_;
};

}  // namespace tapwell
