#include "Platform/Linux/LinuxClock.h"

#include <time.h>

namespace tapwell {

std::uint64_t LinuxClock::hostTicks() const {
    return static_cast<std::uint64_t>(now().count());
}

Clock::Date LinuxClock::now() const {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace tapwell
