#include "Platform/macOS/MachClock.h"

#include <mach/mach_time.h>

namespace tapwell {

MachClock::MachClock() {
    mach_timebase_info_data_t info{};
    mach_timebase_info(&info);
    timebase_ = {info.numer, info.denom};
}

std::uint64_t MachClock::hostTicks() const {
    return mach_absolute_time();
}

Clock::Date MachClock::now() const {
    const std::uint64_t ticks = hostTicks();
    // In two parts, because ticks times numerator may not fit.
    const std::uint64_t whole = ticks / timebase_.denominator;
    const std::uint64_t rest = ticks % timebase_.denominator;
    return Date(static_cast<Date::rep>(whole * timebase_.numerator +
                                       rest * timebase_.numerator / timebase_.denominator));
}

}  // namespace tapwell
