#pragma once

#include "Platform/PcmBuffer.h"
#include "Platform/SampleRateConverter.h"

#include <memory>
#include <optional>

namespace tapwell {

/// Brings one stream of mono float buffers to another rate. One thread at a time.
class MonoResampler {
public:
    /// Null when no converter can be had for the formats, which are mono 32-bit float.
    static std::unique_ptr<MonoResampler> make(SampleRateConverterFactory& converters,
                                               const AudioFormat& source,
                                               const AudioFormat& target);

    /// What the input so far determines and was not returned before; absent when that is nothing
    /// or the conversion failed.
    std::optional<PcmBuffer> convert(const PcmBuffer& buffer);

private:
    MonoResampler(std::unique_ptr<SampleRateConverter> converter, const AudioFormat& target,
                  double ratio)
        : converter_(std::move(converter)), target_(target), ratio_(ratio) {}

    const std::unique_ptr<SampleRateConverter> converter_;
    const AudioFormat target_;
    const double ratio_;  ///< target rate over source rate
};

}  // namespace tapwell
