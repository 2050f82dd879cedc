#pragma once

#include "Platform/AudioFormatDescription.h"
#include "Platform/MediaTime.h"
#include "Platform/SampleBuffer.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tapwell {

/// Wraps float frames into timed sample buffers, one format description for the session. What the
/// mono and the stereo builder share. Not synchronised.
class PCMSampleBuilder {
public:
    PCMSampleBuilder(const PCMSampleBuilder&) = delete;
    PCMSampleBuilder& operator=(const PCMSampleBuilder&) = delete;

    /// Makes the format description if there is none yet. Throws RecorderError.
    void ensureFormatCreated();

    double mixBusSampleRateHz() const { return mixBusSampleRateHz_; }

protected:
    struct Layout {
        std::uint32_t channels;
        std::uint32_t formatFlags;
        std::string messagePrefix;  ///< of the system's messages, "" or "stereo "
        int firstErrorCode;         ///< of Failure::missingFormat; the others follow in their order
        std::string missingFormat;
        std::string invalidSamples;
    };
    enum class Failure { missingFormat = 0, invalidSamples, blockBuffer, copy, sampleBuffer };

    /// `mixBusSampleRateHz`: ends the process when it does not round to a 32-bit integer.
    PCMSampleBuilder(double mixBusSampleRateHz, Layout layout);
    ~PCMSampleBuilder() = default;

    /// `samples`: whole frames, interleaved. Throws RecorderError; that frame is lost, the builder
    /// goes on.
    SampleBuffer make(std::span<const float> samples, MediaTime pts);

private:
    [[noreturn]] void fail(Failure failure, const std::string& message) const;

    const double mixBusSampleRateHz_;
    const std::int32_t durationTimescale_;
    const Layout layout_;
    std::shared_ptr<const AudioFormatDescription> pcmFormatDescription_;
};

}  // namespace tapwell
