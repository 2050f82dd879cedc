#pragma once

#include "Platform/Resampling/FixedRateResampler.h"
#include "Platform/Resampling/RateTrim.h"
#include "Platform/SampleRateConverter.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tapwell {

/// Averages the channels, converts at the exact ratio of the nominal rates with the host's
/// resampler (left out when they are equal), and follows changes of the source rate with a RateTrim
/// behind that.
///
/// Equal rates pass through bit by bit until the rate is first adjusted. A change of rate takes
/// effect at exactly the frame of its call. docs/decisions/0002-resampler.md has the reasons and
/// the measured quality.
class TrimmedSampleRateConverter final : public SampleRateConverter {
public:
    /// A resampler of the host for two different rates in Hz; null when it does not do this pair.
    using ResamplerMaker =
        std::function<std::unique_ptr<FixedRateResampler>(double sourceRate, double targetRate)>;

    /// Null when the formats are not those of SampleRateConverterFactory or the host has no
    /// resampler for the rates.
    static std::unique_ptr<TrimmedSampleRateConverter> make(const AudioFormat& source,
                                                            const AudioFormat& target,
                                                            const ResamplerMaker& makeResampler);

    OutputStatus convert(PcmBuffer& output, const InputBlock& input,
                         std::string& outError) override;
    bool adjustSourceSampleRate(double sampleRate) override;
    double heldBackFrames() const override;
    double maximumHeldBackFrames() const override;
    OutputStatus finish(PcmBuffer& output, std::string& outError) override;

private:
    enum class Step { moved, nothingLeft, failed };

    TrimmedSampleRateConverter(const AudioFormat& source, const AudioFormat& target,
                               std::unique_ptr<FixedRateResampler> resampler);

    Step pullInput(const InputBlock& input, std::uint32_t missingOutput, std::string& outError);
    Step movePendingInput(std::string& outError);
    Step moveFilterTail(std::string& outError);
    Step moveResampled(const FixedRateResampler::Progress& progress);
    /// Appends finished samples to `output`; true when it is full.
    bool fill(PcmBuffer& output);

    const AudioFormat source_;
    const AudioFormat target_;
    const std::unique_ptr<FixedRateResampler> resampler_;  ///< null when the rates are equal
    RateTrim trim_;
    std::vector<float> pending_;  ///< mono input that was handed in and not yet resampled
    std::size_t pendingBegin_ = 0;
    std::vector<float> resampled_;  ///< between the two stages
    std::uint64_t inputFrames_ = 0;
    double sourceRate_;  ///< Hz, the last one taken up
};

}  // namespace tapwell
