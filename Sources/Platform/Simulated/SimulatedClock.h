#pragma once

#include "Platform/Clock.h"
#include "Platform/Simulated/VirtualTime.h"

namespace tapwell {

/// Reads virtual time. A tick is 125/3 ns, as on real machines whose ticks are no nanoseconds, so
/// that code that confuses the two fails its tests.
class SimulatedClock final : public Clock {
public:
    explicit SimulatedClock(const VirtualTime& time) : time_(time) {}

    std::uint64_t hostTicks() const override { return ticksAt(time_.now()); }
    Timebase timebase() const override { return {125, 3}; }
    Date now() const override { return kStart + time_.now(); }

    /// The host ticks of a moment of virtual time.
    static std::uint64_t ticksAt(VirtualTime::Duration moment) {
        return static_cast<std::uint64_t>((kStart + moment).count()) * 3 / 125;
    }

private:
    /// The simulation does not begin at tick 0: 0 must never look like a valid time.
    static constexpr VirtualTime::Duration kStart = std::chrono::hours(1);

    const VirtualTime& time_;
};

}  // namespace tapwell
