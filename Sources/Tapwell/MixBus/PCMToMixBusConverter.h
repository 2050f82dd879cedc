#pragma once

#include "Platform/AudioFormat.h"
#include "Platform/MediaTime.h"
#include "Platform/PcmBuffer.h"
#include "Platform/SampleRateConverter.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/MixBus/MixBusChunk.h"
#include "Tapwell/MixBus/SeamlessRateConverter.h"
#include "Tapwell/MixBus/StreamingLinearResampler.h"

#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tapwell {

/// Turns the device buffers of one capture stream into mono samples at the mix rate: by a plain
/// copy or downmix where the rates agree, else through the host's sample-rate converter, with two
/// simple resamplers to fall back on when that yields nothing.
///
/// A stream stays one stream: filter history carries over from buffer to buffer, and once a stream
/// needs the rate converter it stays with it, since going back would be heard as a click.
///
/// Not synchronised: each converter is used from one queue only.
class PCMToMixBusConverter {
public:
    /// Throws RecorderError (code 10) when the rate is not finite and within [8000, 192000] Hz. The
    /// factory must outlive the converter.
    PCMToMixBusConverter(double mixBusSampleRateHz, SampleRateConverterFactory& factory, Log log);

    /// Converts the next buffer. `presentationTime` is that of its first frame;
    /// `effectiveSourceSampleRateHz` the rate at which the stream really runs, when it is known to
    /// differ from the buffer's label. The result holds what the input so far determines: none at
    /// first, while a filter fills, and its time is that of its own first sample. Throws
    /// RecorderError; the buffer is lost then, the stream goes on.
    MixBusChunk convert(const PcmBuffer& pcmBuffer, MediaTime presentationTime,
                        std::optional<double> effectiveSourceSampleRateHz);

    /// Whether an empty result only means that a filter has not seen enough input yet.
    bool isFilling() const { return converter_.isFilling(); }

    /// What the filter still holds, at the end of the stream. The next buffer begins a new stream.
    MixBusChunk finish();

    /// The two entry points of dual-track capture; they use no host converter. Throw RecorderError.
    std::vector<float> convertSystemBufferForDualTrack(
        const PcmBuffer& pcmBuffer, std::optional<double> aggregateIOSemanticRateHintHz);
    std::vector<float> convertMicBufferForDualTrack(const PcmBuffer& pcmBuffer);

    /// Samples of one stream resampled linearly, with the phase carried over unless `resetPhase`.
    std::vector<float> pushLinearResample(std::span<const float> samples, double srcRate,
                                          bool resetPhase);

    /// The next buffer comes from another device: drops filter and history.
    void resetConversionStateForRouteChange() { converter_.reset(); }

private:
    double mixRate() const { return dstFormat_.sampleRate(); }
    std::vector<float> copyFloatMonoNonInterleavedFromAVBuffer(const PcmBuffer& buffer) const;
    std::optional<std::vector<float>> fastCopy(const PcmBuffer& buffer);
    void logFirstBuffer(const PcmBuffer& buffer, const std::optional<AudioFormat>& semanticFormat);
    std::vector<float> fallback(const PcmBuffer& buffer, double srcRate);

    const AudioFormat dstFormat_;
    const Log log_;

    SeamlessRateConverter converter_;
    MediaTime endOfInput_ = MediaTime::invalid();  ///< when the last buffer ended

    std::unique_ptr<StreamingLinearResampler> streamingResampler_;
    bool loggedFormat_ = false;
    bool loggedLinearResampleFallback_ = false;
    bool loggedZohResampleFallback_ = false;
    bool loggedDualTrackSystemLinear_ = false;
    bool loggedDualTrackMicLinear_ = false;
};

}  // namespace tapwell
