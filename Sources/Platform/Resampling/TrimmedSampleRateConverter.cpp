#include "Platform/Resampling/TrimmedSampleRateConverter.h"

#include "Platform/Resampling/ChannelAverage.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tapwell {
namespace {

constexpr double kMeasuringNoiseHz = 0.5;
constexpr double kLargestRateDeviation = 0.005;
constexpr std::size_t kResampledBlockSamples = 4096;
constexpr double kLargestRequestFrames = 65536;
// libsoxr holds back at most some 1500 frames of the slower side, measured over 8 to 192 kHz.
constexpr double kLargestDelayFrames = 8192;
// Points to no sample, but points: a null input pointer would end libsoxr's stream.
constexpr float kNoInput = 0;

bool isMonoFloat(const AudioFormat& format) {
    return format.commonFormat() == CommonFormat::pcmFloat32 && format.channelCount() == 1;
}

bool hasSameLayout(const AudioFormat& a, const AudioFormat& b) {
    return a.commonFormat() == b.commonFormat() && a.channelCount() == b.channelCount() &&
           a.isInterleaved() == b.isInterleaved();
}

}  // namespace

std::unique_ptr<TrimmedSampleRateConverter> TrimmedSampleRateConverter::make(
    const AudioFormat& source, const AudioFormat& target, const ResamplerMaker& makeResampler) {
    if (!canAverageChannels(source) || !isMonoFloat(target)) return nullptr;
    std::unique_ptr<FixedRateResampler> resampler;
    if (source.sampleRate() != target.sampleRate()) {
        resampler = makeResampler(source.sampleRate(), target.sampleRate());
        if (resampler == nullptr) return nullptr;
    }
    return std::unique_ptr<TrimmedSampleRateConverter>(
        new TrimmedSampleRateConverter(source, target, std::move(resampler)));
}

TrimmedSampleRateConverter::TrimmedSampleRateConverter(
    const AudioFormat& source, const AudioFormat& target,
    std::unique_ptr<FixedRateResampler> resampler)
    : source_(source),
      target_(target),
      resampler_(std::move(resampler)),
      resampled_(resampler_ == nullptr ? 0 : kResampledBlockSamples),
      sourceRate_(source.sampleRate()) {}

SampleRateConverter::OutputStatus TrimmedSampleRateConverter::convert(PcmBuffer& output,
                                                                      const InputBlock& input,
                                                                      std::string& outError) {
    output.setFrameLength(0);
    if (!isMonoFloat(output.format())) {
        outError = "output buffer is not mono float";
        return OutputStatus::error;
    }
    while (!fill(output)) {
        Step step = movePendingInput(outError);
        if (step == Step::nothingLeft)
            step = pullInput(input, output.frameCapacity() - output.frameLength(), outError);
        if (step == Step::failed) return OutputStatus::error;
        if (step == Step::nothingLeft) return OutputStatus::inputRanDry;
    }
    return OutputStatus::haveData;
}

bool TrimmedSampleRateConverter::adjustSourceSampleRate(double sampleRate) {
    const double nominalRate = source_.sampleRate();
    const double deviation = std::abs(sampleRate - nominalRate) / nominalRate;
    if (!(deviation <= kLargestRateDeviation)) return false;
    if (std::abs(sampleRate - sourceRate_) <= kMeasuringNoiseHz) return true;
    sourceRate_ = sampleRate;
    const double position = static_cast<double>(inputFrames_) * target_.sampleRate() / nominalRate;
    trim_.changeStepAt(position, sampleRate / nominalRate);
    return true;
}

double TrimmedSampleRateConverter::heldBackFrames() const {
    const double inputEnd =
        static_cast<double>(inputFrames_) * target_.sampleRate() / source_.sampleRate();
    return (inputEnd - trim_.position()) / trim_.step();
}

double TrimmedSampleRateConverter::maximumHeldBackFrames() const {
    return kLargestDelayFrames * std::max(1.0, target_.sampleRate() / source_.sampleRate());
}

SampleRateConverter::OutputStatus TrimmedSampleRateConverter::finish(PcmBuffer& output,
                                                                     std::string& outError) {
    output.setFrameLength(0);
    while (!fill(output)) {
        Step step = movePendingInput(outError);
        if (step == Step::nothingLeft) step = moveFilterTail(outError);
        if (step == Step::failed) return OutputStatus::error;
        if (step == Step::nothingLeft) {
            trim_.finish();
            fill(output);
            return OutputStatus::inputRanDry;
        }
    }
    return OutputStatus::haveData;
}

bool TrimmedSampleRateConverter::fill(PcmBuffer& output) {
    std::uint32_t stride = 0;
    float* const samples = output.channel<float>(0, stride);
    const std::uint32_t begin = output.frameLength();
    const std::size_t count = trim_.read(samples + begin, output.frameCapacity() - begin);
    output.setFrameLength(begin + static_cast<std::uint32_t>(count));
    return output.frameLength() == output.frameCapacity();
}

TrimmedSampleRateConverter::Step TrimmedSampleRateConverter::pullInput(const InputBlock& input,
                                                                       std::uint32_t missingOutput,
                                                                       std::string& outError) {
    const double wantedFrames =
        std::ceil(missingOutput * source_.sampleRate() / target_.sampleRate());
    InputStatus status = InputStatus::noDataNow;
    const PcmBuffer* const buffer =
        input(static_cast<std::uint32_t>(std::min(wantedFrames, kLargestRequestFrames)), status);
    if (status != InputStatus::haveData || buffer == nullptr || buffer->frameLength() == 0)
        return Step::nothingLeft;
    if (!hasSameLayout(buffer->format(), source_)) {
        outError = "input buffer is not in the source format";
        return Step::failed;
    }
    appendChannelAverage(*buffer, pending_);
    inputFrames_ += buffer->frameLength();
    return Step::moved;
}

TrimmedSampleRateConverter::Step TrimmedSampleRateConverter::movePendingInput(
    std::string& outError) {
    const std::size_t count = pending_.size() - pendingBegin_;
    const float* const input = count == 0 ? &kNoInput : pending_.data() + pendingBegin_;
    FixedRateResampler::Progress progress{count, 0};
    if (resampler_ == nullptr) {
        trim_.append(input, count);
    } else if (!resampler_->process(input, count, resampled_.data(), resampled_.size(), progress,
                                    outError)) {
        return Step::failed;
    }
    pendingBegin_ += progress.consumed;
    if (pendingBegin_ == pending_.size()) {
        pending_.clear();
        pendingBegin_ = 0;
    }
    return moveResampled(progress);
}

TrimmedSampleRateConverter::Step TrimmedSampleRateConverter::moveFilterTail(std::string& outError) {
    if (resampler_ == nullptr) return Step::nothingLeft;
    FixedRateResampler::Progress progress;
    if (!resampler_->flush(resampled_.data(), resampled_.size(), progress, outError))
        return Step::failed;
    return moveResampled(progress);
}

TrimmedSampleRateConverter::Step TrimmedSampleRateConverter::moveResampled(
    const FixedRateResampler::Progress& progress) {
    trim_.append(resampled_.data(), progress.produced);
    return progress.consumed + progress.produced > 0 ? Step::moved : Step::nothingLeft;
}

}  // namespace tapwell
