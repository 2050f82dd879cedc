#pragma once

#include "Platform/AudioTime.h"
#include "Platform/Clock.h"
#include "Platform/MediaTime.h"

namespace tapwell {

/// Audio times as media times.
struct RecorderTime {
    /// From the host time when that is valid, else from sample time ÷ sample rate (a rate not above
    /// 1 counts as 1), else the invalid time. Any thread.
    static MediaTime cm(const AudioTime& from, std::int32_t preferredTimescale, const Clock& clock);
};

}  // namespace tapwell
