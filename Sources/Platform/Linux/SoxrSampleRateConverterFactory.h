#pragma once

#include "Platform/SampleRateConverter.h"

namespace tapwell {

/// Makes TrimmedSampleRateConverters on libsoxr.
class SoxrSampleRateConverterFactory final : public SampleRateConverterFactory {
public:
    std::unique_ptr<SampleRateConverter> makeConverter(const AudioFormat& source,
                                                       const AudioFormat& target) override;
};

}  // namespace tapwell
