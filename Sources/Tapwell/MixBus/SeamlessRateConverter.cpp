#include "Tapwell/MixBus/SeamlessRateConverter.h"

#include "Platform/MonoPcm.h"
#include "Platform/RecorderError.h"
#include "Tapwell/MixBus/IncrementalPCMFeeder.h"
#include "Tapwell/MixBus/MonoSamples.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace tapwell {
namespace {

constexpr int kErrorCode = 10;
/// Output room beyond the rate ratio's share, for what a filter lets go at once.
constexpr double kOutputHeadroomFrames = 512;
/// Longer than the filter of any converter, so that a primed filter has forgotten its silent past.
constexpr std::size_t kHistoryFrames = 4096;

void append(std::vector<float>& samples, std::span<const float> more) {
    samples.insert(samples.end(), more.begin(), more.end());
}

void keepLast(std::vector<float>& samples, std::size_t count) {
    if (samples.size() > count)
        samples.erase(samples.begin(), samples.end() - static_cast<std::ptrdiff_t>(count));
}

}  // namespace

void SeamlessRateConverter::remember(std::span<const float> copied) {
    append(recentCopies_, copied);
    if (recentCopies_.size() > 4 * kHistoryFrames) keepLast(recentCopies_, kHistoryFrames);
}

std::vector<float> SeamlessRateConverter::convert(const PcmBuffer& buffer,
                                                  const AudioFormat& trueFormat) {
    std::vector<float> samples = ensureConverter(buffer.format(), trueFormat);
    append(samples, runConverter(buffer));
    return samples;
}

double SeamlessRateConverter::heldBackFrames() const {
    if (!converter_) return 0;
    return converter_->heldBackFrames() - static_cast<double>(outputFramesToDiscard_);
}

bool SeamlessRateConverter::isFilling() const {
    return converter_ && converter_->heldBackFrames() <= converter_->maximumHeldBackFrames();
}

std::vector<float> SeamlessRateConverter::finish() {
    std::vector<float> tail = drainConverterTail();
    reset();
    return tail;
}

void SeamlessRateConverter::reset() {
    converter_.reset();
    srcFormat_.reset();
    recentCopies_.clear();
    outputFramesToDiscard_ = 0;
}

/// Makes converter_ fit the buffer's layout and the rate at which it really runs. Returns what a
/// converter that had to be replaced still held.
std::vector<float> SeamlessRateConverter::ensureConverter(const AudioFormat& label,
                                                          const AudioFormat& trueFormat) {
    const double trueRate = trueFormat.sampleRate();
    const bool sameLayout = converter_ && srcFormat_->withSampleRate(trueRate) == trueFormat;
    if (sameLayout && converter_->adjustSourceSampleRate(trueRate)) return {};

    std::vector<float> tail = drainConverterTail();
    // Made for the rate on the label and then moved to the measured one: the converter is good at
    // following a measurement that wanders, and begins exactly where a plain copy left off.
    if (tryMakeConverter(label)) {
        primeWithHistory(label);
        if (converter_->adjustSourceSampleRate(trueRate)) return tail;
    }
    outputFramesToDiscard_ = 0;
    if (!tryMakeConverter(trueFormat)) throw RecorderError(kErrorCode, "No AVAudioConverter");
    return tail;
}

bool SeamlessRateConverter::tryMakeConverter(const AudioFormat& format) {
    converter_ = factory_.makeConverter(format, dstFormat_);
    srcFormat_ = converter_ ? std::optional(format) : std::nullopt;
    return converter_ != nullptr;
}

/// Feeds the new filter what the plain copy gave out before, so that the stream goes on without a
/// seam; the output for those samples is dropped.
void SeamlessRateConverter::primeWithHistory(const AudioFormat& format) {
    std::vector<float> history;
    history.swap(recentCopies_);
    keepLast(history, kHistoryFrames);
    const bool wasCopied = std::abs(format.sampleRate() - outputRate()) <= 1.0;
    if (history.empty() || !wasCopied) return;
    auto buffer = PcmBuffer::withCapacity(format, static_cast<std::uint32_t>(history.size()));
    if (!buffer) return;
    writeToAllChannels(history, *buffer);
    outputFramesToDiscard_ = history.size();
    runConverter(*buffer);
}

/// Feeds one buffer and collects output until there is none left.
std::vector<float> SeamlessRateConverter::runConverter(const PcmBuffer& source) {
    PcmBuffer output = makeOutput(source.frameLength());
    IncrementalPCMFeeder feeder(source);
    const auto feed = [&feeder](std::uint32_t requested, SampleRateConverter::InputStatus& status) {
        return feeder.next(requested, status);
    };
    std::vector<float> samples;
    std::string error;
    do {
        // Once the feeder has run out it answers end of stream, and further calls only drain.
        if (converter_->convert(output, feed, error) == SampleRateConverter::OutputStatus::error)
            throw RecorderError(kErrorCode, error);
        append(samples, monoFloatSamples(output));
    } while (output.frameLength() > 0);
    dropDiscardable(samples);
    return samples;
}

PcmBuffer SeamlessRateConverter::makeOutput(std::uint32_t inputFrames) const {
    const double capacity =
        std::ceil(outputRate() / srcFormat_->sampleRate() * inputFrames) + kOutputHeadroomFrames;
    auto output = capacity <= std::numeric_limits<std::uint32_t>::max()
                      ? PcmBuffer::withCapacity(dstFormat_, static_cast<std::uint32_t>(capacity))
                      : std::nullopt;
    if (!output) throw RecorderError(kErrorCode, "Output PCM buffer alloc failed");
    return *std::move(output);
}

/// Ends the stream of converter_, if there is one, and returns the rest of its output.
std::vector<float> SeamlessRateConverter::drainConverterTail() {
    std::vector<float> tail;
    if (!converter_) return tail;
    auto output = PcmBuffer::withCapacity(dstFormat_, kHistoryFrames);
    std::string error;
    do {
        if (!output ||
            converter_->finish(*output, error) == SampleRateConverter::OutputStatus::error)
            break;
        append(tail, monoFloatSamples(*output));
    } while (output->frameLength() > 0);
    dropDiscardable(tail);
    outputFramesToDiscard_ = 0;
    converter_.reset();
    srcFormat_.reset();
    return tail;
}

void SeamlessRateConverter::dropDiscardable(std::vector<float>& samples) {
    const std::size_t count = std::min(outputFramesToDiscard_, samples.size());
    samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count));
    outputFramesToDiscard_ -= count;
}

}  // namespace tapwell
