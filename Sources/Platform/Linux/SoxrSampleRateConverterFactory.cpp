#include "Platform/Linux/SoxrSampleRateConverterFactory.h"

#include "Platform/Linux/SoxrResampler.h"
#include "Platform/Resampling/TrimmedSampleRateConverter.h"

namespace tapwell {

std::unique_ptr<SampleRateConverter> SoxrSampleRateConverterFactory::makeConverter(
    const AudioFormat& source, const AudioFormat& target) {
    return TrimmedSampleRateConverter::make(
        source, target,
        [](double sourceRate, double targetRate) -> std::unique_ptr<FixedRateResampler> {
            std::string reason;
            return SoxrResampler::make(sourceRate, targetRate, reason);
        });
}

}  // namespace tapwell
