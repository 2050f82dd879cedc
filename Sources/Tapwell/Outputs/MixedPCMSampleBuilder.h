#pragma once

#include "Tapwell/Outputs/PCMSampleBuilder.h"

namespace tapwell {

/// Builds the sample buffers of the mono layout. Error codes 31 to 35.
class MixedPCMSampleBuilder final : public PCMSampleBuilder {
public:
    explicit MixedPCMSampleBuilder(double mixBusSampleRateHz);

    /// A buffer of `floatMono`, whose first sample plays at `pts`. Throws RecorderError.
    SampleBuffer makeSampleBuffer(std::span<const float> floatMono, MediaTime pts) {
        return make(floatMono, pts);
    }
};

}  // namespace tapwell
