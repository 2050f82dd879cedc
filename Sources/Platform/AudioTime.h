#pragma once

#include "Platform/AudioTimeStamp.h"

#include <cstdint>

namespace tapwell {

/// A moment of one audio stream: a time stamp together with the rate that its sample time counts
/// in.
struct AudioTime {
    AudioTime() = default;
    AudioTime(const AudioTimeStamp& stamp, double rate)
        : hostTime(stamp.hostTime),
          sampleTime(stamp.sampleTime),
          sampleRate(rate),
          isHostTimeValid(stamp.hasHostTime()),
          isSampleTimeValid(stamp.hasSampleTime()) {}

    std::uint64_t hostTime = 0;  ///< host ticks, see Clock
    double sampleTime = 0;       ///< frames
    double sampleRate = 0;       ///< Hz
    bool isHostTimeValid = false;
    bool isSampleTimeValid = false;
};

}  // namespace tapwell
