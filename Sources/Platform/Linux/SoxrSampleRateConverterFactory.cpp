#include "Platform/Linux/SoxrSampleRateConverterFactory.h"

#include "Platform/Linux/SoxrSampleRateConverter.h"

namespace tapwell {

std::unique_ptr<SampleRateConverter> SoxrSampleRateConverterFactory::makeConverter(
    const AudioFormat& source, const AudioFormat& target) {
    return SoxrSampleRateConverter::make(source, target);
}

}  // namespace tapwell
