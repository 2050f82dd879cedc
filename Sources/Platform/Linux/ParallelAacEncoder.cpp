#include "Platform/Linux/ParallelAacEncoder.h"

#include <algorithm>

namespace tapwell {

ParallelAacEncoder::ParallelAacEncoder(const AudioOutputSettings& settings,
                                       const EncodingResources& resources, Producer producer)
    : settings_(settings),
      encoderCount_(resources.encoderCount),
      producer_(producer),
      pace_(resources.clock, settings.sampleRate),
      direct_(std::make_unique<AacEncoder>(settings)),
      track_(direct_->track()) {}

void ParallelAacEncoder::encode(std::span<const float> samples, const PacketSink& sink) {
    const std::size_t channels = track_.channelCount;
    pace_.beginWork();
    if (!direct_ && pace_.waitedSeconds() > kLongestWait) encodeDirectly(sink);
    while (!samples.empty()) {
        const std::size_t count = std::min(samples.size(), framesLeft_ * channels);
        take(samples.first(count), sink);
        samples = samples.subspan(count);
        if (framesLeft_ == 0) crossBorder(sink);
    }
    pace_.endWork();
}

/// Samples of one segment.
void ParallelAacEncoder::take(std::span<const float> samples, const PacketSink& sink) {
    const std::size_t frames = samples.size() / track_.channelCount;
    frameCount_ += frames;
    framesLeft_ -= static_cast<std::uint32_t>(frames);
    if (direct_) {
        direct_->encode(samples, sink);
        keepLeadIn(samples);
    } else {
        collected_.insert(collected_.end(), samples.begin(), samples.end());
    }
}

/// Keeps of the samples that are encoded what the next segment begins with.
void ParallelAacEncoder::keepLeadIn(std::span<const float> samples) {
    const std::size_t wanted =
        std::size_t{AacEncoder::kLeadInFrames - std::min(AacEncoder::kLeadInFrames, framesLeft_)} *
        track_.channelCount;
    const auto last = samples.last(std::min(samples.size(), wanted));
    collected_.insert(collected_.end(), last.begin(), last.end());
    collected_.erase(collected_.begin(), collected_.end() - static_cast<std::ptrdiff_t>(wanted));
}

void ParallelAacEncoder::crossBorder(const PacketSink& sink) {
    framesLeft_ = kFramesPerSegment;
    if (!isSegmented_) {
        isSegmented_ = producer_ == Producer::unknown && pace_.isFasterThanRealTime(frameCount_);
        if (!isSegmented_) {
            collected_.clear();
            return;
        }
    }
    const auto leadIn =
        static_cast<std::ptrdiff_t>(AacEncoder::kLeadInFrames * track_.channelCount);
    std::vector<float> next = workers_ ? workers_->takeBuffer() : std::vector<float>();
    next.assign(collected_.end() - leadIn, collected_.end());
    if (!direct_) workers_->submit(std::move(collected_), false, sink);
    collected_ = std::move(next);
    if (mayCollect()) {
        direct_.reset();
        collected_.reserve(collected_.size() +
                           std::size_t{kFramesPerSegment} * track_.channelCount);
    } else {
        encodeDirectly(sink);
    }
    pace_.resetWait();
}

/// Whether the next segment is one for the workers: the producer kept up during this one.
bool ParallelAacEncoder::mayCollect() {
    if (encoderCount_ < 2 || pace_.waitedSeconds() > kLongestWait) return false;
    if (!workers_) workers_ = std::make_unique<AacSegmentWorkers>(settings_, encoderCount_ - 1);
    return workers_->hasThreads();
}

/// Goes on with the segment under way within `encode`; the packets are the same.
void ParallelAacEncoder::encodeDirectly(const PacketSink& sink) {
    if (workers_) workers_->drain(sink);
    direct_ = std::make_unique<AacEncoder>(settings_, AacEncoder::Part::later);
    direct_->encode(collected_, sink);
    const std::vector<float> encoded = std::move(collected_);
    collected_.clear();
    keepLeadIn(encoded);
}

void ParallelAacEncoder::finish(const PacketSink& sink) {
    if (direct_) {
        direct_->finish(sink);
    } else {
        workers_->submit(std::move(collected_), true, sink);
        workers_->drain(sink);
        workers_.reset();
    }
}

std::size_t ParallelAacEncoder::framesHeld() const {
    if (direct_) return 0;
    return (collected_.size() + workers_->samplesHeld()) / track_.channelCount;
}

}  // namespace tapwell
