#include "Platform/Linux/CaptureFeed.h"

namespace tapwell {
namespace {

/// A graph may run in shorter cycles, with which the ring holds a little less.
constexpr std::size_t kSmallestBufferFrames = 128;

}  // namespace

CaptureFeed::CaptureFeed(std::uint32_t channels, double sampleRate)
    : channels_(channels),
      timeline_(sampleRate),
      ring_(channels, static_cast<std::size_t>(kRingSeconds * sampleRate), kSmallestBufferFrames) {}

CaptureFeed::Need CaptureFeed::deliver(std::span<const float> samples, const CaptureCycle& cycle) {
    const std::size_t frames = samples.size() / channels_;
    graphRate_.store(cycle.rateDenominator, std::memory_order_relaxed);
    const CaptureTimes times = timeline_.place(cycle, frames);
    if (!ring_.push(samples, times)) {
        const auto lostBefore = overrunFrames_.fetch_add(frames, std::memory_order_relaxed);
        return lostBefore == 0 ? Need::report : Need::nothing;
    }
    return pushedSinceDrain_.fetch_add(1) > 0 ? Need::nothing : Need::drain;
}

bool CaptureFeed::takeOverrunReport() {
    if (hasReportedOverrun_ || overrunFrames() == 0) return false;
    hasReportedOverrun_ = true;
    return true;
}

void CaptureFeed::drain(const AudioIOBlock& block) {
    pushedSinceDrain_.exchange(0);
    while (!isCancelled_.load()) {
        const std::optional<CaptureRing::Slice> slice = ring_.front();
        if (!slice) return;
        AudioTimeStamp now;
        now.hostTime = slice->times.cycleHostTime;
        now.flags = AudioTimeStamp::kHostTimeValid;
        AudioTimeStamp inputTime;
        inputTime.hostTime = slice->times.firstHostTime;
        inputTime.sampleTime = slice->times.firstSampleTime;
        inputTime.flags = AudioTimeStamp::kHostTimeValid | AudioTimeStamp::kSampleTimeValid;
        // The seam hands out writable memory because hardware does; here it is the ring's own.
        const AudioBuffer buffer{channels_, static_cast<std::uint32_t>(slice->samples.size_bytes()),
                                 const_cast<float*>(slice->samples.data())};
        block(now, AudioBufferList(&buffer, 1), inputTime);
        ring_.pop();
    }
}

}  // namespace tapwell
