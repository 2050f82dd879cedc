#pragma once

#include "Tapwell/Outputs/PCMSampleBuilder.h"

namespace tapwell {

/// Builds the sample buffers of the stereo layout. Error codes 38 to 42.
class StereoPCMSampleBuilder final : public PCMSampleBuilder {
public:
    explicit StereoPCMSampleBuilder(double mixBusSampleRateHz);

    /// A buffer of interleaved pairs, the first of which plays at `pts`. Throws RecorderError.
    SampleBuffer makeSampleBuffer(std::span<const float> interleavedLR, MediaTime pts) {
        return make(interleavedLR, pts);
    }
};

}  // namespace tapwell
