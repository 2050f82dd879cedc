#include "Tapwell/MixBus/PCMToMixBusConverter.h"

#include "Platform/RecorderError.h"
#include "Tapwell/Diagnostics/TextFormat.h"
#include "Tapwell/MixBus/MonoSamples.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

namespace tapwell {
namespace {

constexpr int kErrorCode = 10;

AudioFormat makeMixBusFormat(double rate) {
    if (!std::isfinite(rate) || rate < 8000 || rate > 192000)
        throw RecorderError(kErrorCode, "mix bus sample rate out of range: " + shortestText(rate));
    const auto format = AudioFormat::make(CommonFormat::pcmFloat32, rate, 1, false);
    if (!format)
        throw RecorderError(kErrorCode, "Could not build mono float mix-bus format at " +
                                            shortestText(rate) + " Hz");
    return *format;
}

std::string describe(const AudioFormat& format) {
    return "sr=" + shortestText(format.sampleRate()) +
           " ch=" + std::to_string(format.channelCount()) +
           " interleaved=" + boolText(format.isInterleaved()) +
           " common=" + std::to_string(static_cast<std::uint32_t>(format.commonFormat()));
}

bool isWithin(double a, double b, double toleranceHz) {
    return std::abs(a - b) <= toleranceHz;
}

/// The format that the samples are really produced in, when `hint` says it is not the label's.
std::optional<AudioFormat> semanticFormatFor(const AudioFormat& label, std::optional<double> hint) {
    if (!hint || !(*hint > 1.0) || isWithin(*hint, label.sampleRate(), 0.5)) return std::nullopt;
    return label.withSampleRate(*hint);
}

}  // namespace

PCMToMixBusConverter::PCMToMixBusConverter(double mixBusSampleRateHz,
                                           SampleRateConverterFactory& factory, Log log)
    : dstFormat_(makeMixBusFormat(mixBusSampleRateHz)),
      log_(std::move(log)),
      converter_(factory, dstFormat_) {}

MixBusChunk PCMToMixBusConverter::convert(const PcmBuffer& pcmBuffer, MediaTime presentationTime,
                                          std::optional<double> effectiveSourceSampleRateHz) {
    if (pcmBuffer.frameLength() == 0) return {};
    const auto semanticFormat = semanticFormatFor(pcmBuffer.format(), effectiveSourceSampleRateHz);
    logFirstBuffer(pcmBuffer, semanticFormat);
    const AudioFormat& format = semanticFormat ? *semanticFormat : pcmBuffer.format();
    endOfInput_ =
        presentationTime + MediaTime::fromSeconds(pcmBuffer.frameLength() / format.sampleRate(),
                                                  presentationTime.timescale);

    if (!converter_.isInUse() && !semanticFormat) {
        if (auto copied = fastCopy(pcmBuffer)) return {std::move(*copied), presentationTime};
    }

    const double heldBackBefore = converter_.heldBackFrames();
    std::vector<float> samples = converter_.convert(pcmBuffer, format);
    if (samples.empty() && !isFilling() && pcmBuffer.format().channelCount() == 1)
        return {fallback(pcmBuffer, format.sampleRate()), presentationTime};
    const MediaTime delay =
        MediaTime::fromSeconds(heldBackBefore / mixRate(), presentationTime.timescale);
    return {std::move(samples), presentationTime - delay};
}

MixBusChunk PCMToMixBusConverter::finish() {
    MixBusChunk tail;
    tail.samples = converter_.finish();
    tail.presentationTime =
        endOfInput_ - MediaTime::fromSeconds(static_cast<double>(tail.samples.size()) / mixRate(),
                                             endOfInput_.timescale);
    return tail;
}

std::vector<float> PCMToMixBusConverter::copyFloatMonoNonInterleavedFromAVBuffer(
    const PcmBuffer& buffer) const {
    return monoSamples(buffer);
}

/// Absent when this buffer needs the rate converter.
std::optional<std::vector<float>> PCMToMixBusConverter::fastCopy(const PcmBuffer& buffer) {
    if (!isWithin(buffer.format().sampleRate(), mixRate(), 1.0)) return std::nullopt;
    std::vector<float> copied;
    try {
        copied = copyFloatMonoNonInterleavedFromAVBuffer(buffer);
    } catch (const RecorderError&) {
        return std::nullopt;
    }
    if (copied.empty()) return std::nullopt;
    converter_.remember(copied);
    return copied;
}

void PCMToMixBusConverter::logFirstBuffer(const PcmBuffer& buffer,
                                          const std::optional<AudioFormat>& semanticFormat) {
    if (loggedFormat_) return;
    loggedFormat_ = true;
    std::string message = "first AVAudioPCMBuffer src=" + describe(buffer.format());
    if (semanticFormat) message += "; semanticSRC=" + describe(*semanticFormat);
    log_.line(message);
}

/// For a mono buffer that the host's converter made nothing of.
std::vector<float> PCMToMixBusConverter::fallback(const PcmBuffer& buffer, double srcRate) {
    const std::vector<float> mono = copyFloatMonoNonInterleavedFromAVBuffer(buffer);
    if (isWithin(srcRate, 16000, 1.0) && isWithin(mixRate(), 48000, 1.0)) {
        if (!loggedZohResampleFallback_) {
            loggedZohResampleFallback_ = true;
            log_.line("SRC fallback ZOH 16k→48k frames=" + std::to_string(mono.size()));
        }
        std::vector<float> held;
        held.reserve(mono.size() * 3);
        for (float sample : mono)
            held.insert(held.end(), 3, sample);
        return held;
    }
    if (!loggedLinearResampleFallback_) {
        loggedLinearResampleFallback_ = true;
        log_.line("SRC fallback linear " + std::to_string(static_cast<std::int64_t>(srcRate)) +
                  "→" + std::to_string(static_cast<std::int64_t>(mixRate())) +
                  " frames=" + std::to_string(mono.size()));
    }
    return pushLinearResample(mono, srcRate, true);
}

std::vector<float> PCMToMixBusConverter::pushLinearResample(std::span<const float> samples,
                                                            double srcRate, bool resetPhase) {
    if (resetPhase) streamingResampler_.reset();
    if (isWithin(srcRate, mixRate(), 0.5)) return {samples.begin(), samples.end()};
    const bool fits = streamingResampler_ &&
                      std::abs(streamingResampler_->srcRate() - srcRate) < 0.5 &&
                      std::abs(streamingResampler_->dstRate() - mixRate()) < 0.5;
    if (!fits) streamingResampler_ = std::make_unique<StreamingLinearResampler>(srcRate, mixRate());
    return streamingResampler_->push(samples);
}

std::vector<float> PCMToMixBusConverter::convertMicBufferForDualTrack(const PcmBuffer& pcmBuffer) {
    std::vector<float> copied = copyFloatMonoNonInterleavedFromAVBuffer(pcmBuffer);
    const double rate = pcmBuffer.format().sampleRate();
    if (isWithin(rate, mixRate(), 0.5) && !copied.empty()) return copied;

    std::vector<float> resampled = pushLinearResample(copied, rate, false);
    if (!resampled.empty() && !loggedDualTrackMicLinear_) {
        loggedDualTrackMicLinear_ = true;
        log_.line("dual-track mic linear " + shortestText(rate) + "→" + shortestText(mixRate()) +
                  " frames=" + std::to_string(copied.size()));
    }
    return resampled;
}

std::vector<float> PCMToMixBusConverter::convertSystemBufferForDualTrack(
    const PcmBuffer& pcmBuffer, std::optional<double> aggregateIOSemanticRateHintHz) {
    const double nominal = pcmBuffer.format().sampleRate();
    const bool hinted =
        aggregateIOSemanticRateHintHz && !isWithin(*aggregateIOSemanticRateHintHz, nominal, 0.5);
    const double contentRate = hinted ? *aggregateIOSemanticRateHintHz : nominal;
    std::vector<float> copied = copyFloatMonoNonInterleavedFromAVBuffer(pcmBuffer);
    if (isWithin(contentRate, mixRate(), 0.5) && !copied.empty()) return copied;

    std::vector<float> resampled = pushLinearResample(copied, contentRate, false);
    if (!resampled.empty() && !loggedDualTrackSystemLinear_) {
        loggedDualTrackSystemLinear_ = true;
        log_.line("dual-track system linear content " + shortestText(contentRate) + "→" +
                  shortestText(mixRate()) + " tapNom=" + shortestText(nominal) + " aggregateHint=" +
                  (aggregateIOSemanticRateHintHz ? fixedText(*aggregateIOSemanticRateHintHz, 0)
                                                 : std::string("nil")) +
                  " frames=" + std::to_string(copied.size()));
    }
    return resampled;
}

}  // namespace tapwell
