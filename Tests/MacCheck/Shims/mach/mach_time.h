#pragma once

#include <cstdint>

struct mach_timebase_info_data_t {
    std::uint32_t numer;
    std::uint32_t denom;
};
static_assert(sizeof(mach_timebase_info_data_t) == 8);

extern "C" {
std::uint64_t mach_absolute_time(void);
int mach_timebase_info(mach_timebase_info_data_t* outInfo);
}
