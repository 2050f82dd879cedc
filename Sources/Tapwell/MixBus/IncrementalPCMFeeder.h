#pragma once

#include "Platform/PcmBuffer.h"
#include "Platform/SampleRateConverter.h"

#include <cstdint>

namespace tapwell {

/// Hands one buffer out to a converter in slices, then answers end of stream. Not synchronised; the
/// buffer must outlive it.
class IncrementalPCMFeeder {
public:
    /// Throws RecorderError when its memory cannot be had.
    explicit IncrementalPCMFeeder(const PcmBuffer& full);

    /// The next slice of at most `requestedFrames` frames (all that remain when 0), valid until the
    /// next call; null at the end.
    const PcmBuffer* next(std::uint32_t requestedFrames,
                          SampleRateConverter::InputStatus& outStatus);

private:
    const PcmBuffer& full_;
    std::int64_t frameOffset_ = 0;
    PcmBuffer scratch_;
};

}  // namespace tapwell
