#include "Platform/macOS/ConverterFactory.h"

#include "Platform/Resampling/TrimmedSampleRateConverter.h"
#include "Platform/macOS/ConverterResampler.h"

namespace tapwell {

std::unique_ptr<SampleRateConverter> ConverterFactory::makeConverter(const AudioFormat& source,
                                                                     const AudioFormat& target) {
    return TrimmedSampleRateConverter::make(source, target, ConverterResampler::make);
}

}  // namespace tapwell
