#include "Tapwell/MixBus/PCMToMixBusConverter.h"

#include "Platform/RecorderError.h"
#include "RecorderMixBus/MixMath.h"
#include "Tapwell/Diagnostics/TextFormat.h"
#include "Tapwell/MixBus/IncrementalPCMFeeder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace tapwell {
namespace {

constexpr int kErrorCode = 10;
constexpr float kInt16Scale = 1.0F / 32768.0F;
/// Output room beyond the rate ratio's share, for what a filter lets go at once.
constexpr double kOutputHeadroomFrames = 512;
/// Longer than the filter of any converter, so that a primed filter has forgotten its silent past.
constexpr std::size_t kHistoryFrames = 4096;

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

void writeMonoToAllChannels(std::span<const float> mono, PcmBuffer& buffer) {
    const bool isFloat = buffer.format().commonFormat() == CommonFormat::pcmFloat32;
    for (std::uint32_t channel = 0; channel < buffer.format().channelCount(); ++channel) {
        std::uint32_t stride = 0;
        if (isFloat) {
            float* out = buffer.channel<float>(channel, stride);
            for (std::size_t i = 0; i < mono.size(); ++i)
                out[i * stride] = mono[i];
        } else {
            auto* out = buffer.channel<std::int16_t>(channel, stride);
            for (std::size_t i = 0; i < mono.size(); ++i)
                out[i * stride] = static_cast<std::int16_t>(mono[i] / kInt16Scale);
        }
    }
    buffer.setFrameLength(static_cast<std::uint32_t>(mono.size()));
}

void append(std::vector<float>& samples, const PcmBuffer& mono) {
    std::uint32_t stride = 0;
    const float* data = mono.channel<float>(0, stride);
    samples.insert(samples.end(), data, data + mono.frameLength());
}

}  // namespace

PCMToMixBusConverter::PCMToMixBusConverter(double mixBusSampleRateHz,
                                           SampleRateConverterFactory& factory, Log log)
    : dstFormat_(makeMixBusFormat(mixBusSampleRateHz)), factory_(factory), log_(std::move(log)) {}

PCMToMixBusConverter::~PCMToMixBusConverter() = default;

MixBusChunk PCMToMixBusConverter::convert(const PcmBuffer& pcmBuffer, MediaTime presentationTime,
                                          std::optional<double> effectiveSourceSampleRateHz) {
    if (pcmBuffer.frameLength() == 0) return {};
    const auto semanticFormat = semanticFormatFor(pcmBuffer.format(), effectiveSourceSampleRateHz);
    logFirstBuffer(pcmBuffer, semanticFormat);
    const AudioFormat& format = semanticFormat ? *semanticFormat : pcmBuffer.format();
    endOfInput_ =
        presentationTime + MediaTime::fromSeconds(pcmBuffer.frameLength() / format.sampleRate(),
                                                  presentationTime.timescale);

    if (!converter_ && !semanticFormat) {
        if (auto copied = fastCopy(pcmBuffer)) return {std::move(*copied), presentationTime};
    }

    const double heldBackBefore =
        converter_ ? converter_->heldBackFrames() - static_cast<double>(outputFramesToDiscard_)
                   : 0.0;
    std::vector<float> samples = ensureConverter(pcmBuffer.format(), format);
    const std::vector<float> converted = runConverter(pcmBuffer);
    samples.insert(samples.end(), converted.begin(), converted.end());

    if (samples.empty() && !isFilling() && pcmBuffer.format().channelCount() == 1)
        return {fallback(pcmBuffer, format.sampleRate()), presentationTime};
    const MediaTime delay =
        MediaTime::fromSeconds(heldBackBefore / mixRate(), presentationTime.timescale);
    return {std::move(samples), presentationTime - delay};
}

bool PCMToMixBusConverter::isFilling() const {
    return converter_ && converter_->heldBackFrames() <= converter_->maximumHeldBackFrames();
}

MixBusChunk PCMToMixBusConverter::finish() {
    MixBusChunk tail;
    tail.samples = drainConverterTail();
    tail.presentationTime =
        endOfInput_ - MediaTime::fromSeconds(static_cast<double>(tail.samples.size()) / mixRate(),
                                             endOfInput_.timescale);
    resetConversionStateForRouteChange();
    return tail;
}

void PCMToMixBusConverter::resetConversionStateForRouteChange() {
    converter_.reset();
    srcFormat_.reset();
    recentCopies_.clear();
    outputFramesToDiscard_ = 0;
}

std::vector<float> PCMToMixBusConverter::copyFloatMonoNonInterleavedFromAVBuffer(
    const PcmBuffer& buffer) const {
    const AudioFormat& format = buffer.format();
    const std::size_t frames = buffer.frameLength();
    std::uint32_t stride = 0;
    if (format.channelCount() == 1 && format.commonFormat() == CommonFormat::pcmInt16) {
        const auto* in = buffer.channel<std::int16_t>(0, stride);
        std::vector<float> out(frames);
        for (std::size_t i = 0; i < frames; ++i)
            out[i] = static_cast<float>(in[i]) * kInt16Scale;
        return out;
    }
    if (format.channelCount() == 1 && format.commonFormat() == CommonFormat::pcmFloat32) {
        const auto* in = buffer.channel<float>(0, stride);
        return {in, in + frames};
    }
    if (format.channelCount() == 2 && format.commonFormat() == CommonFormat::pcmFloat32) {
        const auto* left = buffer.channel<float>(0, stride);
        const auto* right = buffer.channel<float>(1, stride);
        if (format.isInterleaved())
            return MixMath::downmixInterleavedStereoToMono({left, 2 * frames});
        std::vector<float> out(frames);
        for (std::size_t i = 0; i < frames; ++i)
            out[i] = (left[i] + right[i]) * 0.5F;
        return out;
    }
    throw RecorderError(kErrorCode, "Unsupported channel layout for fast path");
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
    recentCopies_.insert(recentCopies_.end(), copied.begin(), copied.end());
    if (recentCopies_.size() > 4 * kHistoryFrames)
        recentCopies_.erase(recentCopies_.begin(), recentCopies_.end() - kHistoryFrames);
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

/// Makes converter_ fit the buffer's layout and the rate at which it really runs. Returns what a
/// converter that had to be replaced still held.
std::vector<float> PCMToMixBusConverter::ensureConverter(const AudioFormat& bufferFormat,
                                                         const AudioFormat& semanticFormat) {
    const double semanticRate = semanticFormat.sampleRate();
    const bool sameLayout =
        converter_ && srcFormat_->withSampleRate(semanticRate) == semanticFormat;
    if (sameLayout && converter_->adjustSourceSampleRate(semanticRate)) return {};

    std::vector<float> tail = drainConverterTail();
    // Made for the rate on the label and then moved to the measured one: the converter is good at
    // following a measurement that wanders, and begins exactly where a plain copy left off.
    if (tryMakeConverter(bufferFormat)) {
        primeWithHistory(bufferFormat);
        if (converter_->adjustSourceSampleRate(semanticRate)) return tail;
    }
    outputFramesToDiscard_ = 0;
    if (!tryMakeConverter(semanticFormat)) throw RecorderError(kErrorCode, "No AVAudioConverter");
    return tail;
}

bool PCMToMixBusConverter::tryMakeConverter(const AudioFormat& format) {
    converter_ = factory_.makeConverter(format, dstFormat_);
    srcFormat_ = converter_ ? std::optional(format) : std::nullopt;
    return converter_ != nullptr;
}

/// Feeds the new filter what the plain copy gave out before, so that the stream goes on without a
/// seam; the output for those samples is dropped.
void PCMToMixBusConverter::primeWithHistory(const AudioFormat& format) {
    std::vector<float> history;
    history.swap(recentCopies_);
    if (history.size() > kHistoryFrames)
        history.erase(history.begin(), history.end() - kHistoryFrames);
    if (history.empty() || !isWithin(format.sampleRate(), mixRate(), 1.0)) return;
    auto buffer = PcmBuffer::withCapacity(format, static_cast<std::uint32_t>(history.size()));
    if (!buffer) return;
    writeMonoToAllChannels(history, *buffer);
    outputFramesToDiscard_ = history.size();
    runConverter(*buffer);
}

/// Feeds one buffer and collects output until there is none left.
std::vector<float> PCMToMixBusConverter::runConverter(const PcmBuffer& source) {
    const double capacity = std::ceil(mixRate() / srcFormat_->sampleRate() * source.frameLength()) +
                            kOutputHeadroomFrames;
    auto output = capacity <= std::numeric_limits<std::uint32_t>::max()
                      ? PcmBuffer::withCapacity(dstFormat_, static_cast<std::uint32_t>(capacity))
                      : std::nullopt;
    if (!output) throw RecorderError(kErrorCode, "Output PCM buffer alloc failed");

    IncrementalPCMFeeder feeder(source);
    const auto feed = [&feeder](std::uint32_t requested, SampleRateConverter::InputStatus& status) {
        return feeder.next(requested, status);
    };
    std::vector<float> samples;
    std::string error;
    do {
        // Once the feeder has run out it answers end of stream, and further calls only drain.
        if (converter_->convert(*output, feed, error) == SampleRateConverter::OutputStatus::error)
            throw RecorderError(kErrorCode, error);
        append(samples, *output);
    } while (output->frameLength() > 0);
    dropDiscardable(samples);
    return samples;
}

/// Ends the stream of converter_, if there is one, and returns the rest of its output.
std::vector<float> PCMToMixBusConverter::drainConverterTail() {
    std::vector<float> tail;
    if (!converter_) return tail;
    auto output = PcmBuffer::withCapacity(dstFormat_, kHistoryFrames);
    std::string error;
    do {
        if (!output ||
            converter_->finish(*output, error) == SampleRateConverter::OutputStatus::error)
            break;
        append(tail, *output);
    } while (output->frameLength() > 0);
    dropDiscardable(tail);
    outputFramesToDiscard_ = 0;
    converter_.reset();
    srcFormat_.reset();
    return tail;
}

void PCMToMixBusConverter::dropDiscardable(std::vector<float>& samples) {
    const std::size_t count = std::min(outputFramesToDiscard_, samples.size());
    samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count));
    outputFramesToDiscard_ -= count;
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
