#pragma once

#include <cstdint>

namespace tapwell {

/// When the first frame of an I/O cycle was captured. Test a validity flag before its field.
struct AudioTimeStamp {
    static constexpr std::uint32_t kSampleTimeValid = 1;
    static constexpr std::uint32_t kHostTimeValid = 2;

    double sampleTime = 0;       ///< frames counted by the device, within one driver
    std::uint64_t hostTime = 0;  ///< host ticks, see Clock
    std::uint32_t flags = 0;

    bool hasSampleTime() const { return (flags & kSampleTimeValid) != 0; }
    bool hasHostTime() const { return (flags & kHostTimeValid) != 0; }
};

}  // namespace tapwell
