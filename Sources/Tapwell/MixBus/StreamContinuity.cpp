#include "Tapwell/MixBus/StreamContinuity.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace tapwell {
namespace {

/// Longer than any device's cycle, and shorter than what the mixer lets a stream fall behind.
constexpr double kAwayAfterSeconds = 0.2;
/// Of the new device's audio with the old one's: more than any device holds back.
constexpr double kLongestOverlapSeconds = 2;
constexpr double kLongestMissingSeconds = 60;
/// Long silence goes in piece by piece, so that frames flow meanwhile.
constexpr std::int64_t kSilenceStep = 4096;

const char* nameOf(CaptureStream stream) {
    return stream == CaptureStream::system ? "system audio" : "microphone";
}

}  // namespace

StreamContinuity::StreamContinuity(DualStreamMixer& mixer, double mixRateHz, Log log)
    : mixer_(mixer),
      mixRateHz_(mixRateHz),
      awayAfterSamples_(std::llround(kAwayAfterSeconds * mixRateHz)),
      log_(std::move(log)) {}

CaptureStream StreamContinuity::otherThan(CaptureStream stream) {
    return stream == CaptureStream::system ? CaptureStream::microphone : CaptureStream::system;
}

std::int64_t StreamContinuity::position(MediaTime time) const {
    constexpr double kFarthest = 4e18;  // differences fit 64 bits as well
    return std::llround(std::clamp(time.seconds() * mixRateHz_, -kFarthest, kFarthest));
}

std::int64_t StreamContinuity::queued(CaptureStream stream) const {
    return stream == CaptureStream::system ? mixer_.queuedSystemSamples()
                                           : mixer_.queuedMicSamples();
}

std::int64_t StreamContinuity::mixerPads(CaptureStream stream) const {
    return stream == CaptureStream::system ? mixer_.systemDriftPads() : mixer_.micDriftPads();
}

std::int64_t StreamContinuity::standIn(CaptureStream stream) {
    const Stream& self = state(stream);
    // While both deliver, the mixer's padding makes up for clocks that differ, not for a gap.
    return self.filled + (isAway(self) ? mixerPads(stream) - self.padsAtEnd : 0);
}

void StreamContinuity::push(CaptureStream stream, const MixBusChunk& chunk,
                            const DualStreamMixer::EmitFrame& emit) {
    if (chunk.samples.empty()) return;
    Stream& self = state(stream);
    self.isInterrupted |= chunk.beginsAnew;
    const bool needsPlace = self.isInterrupted || (chunk.isTail && standIn(stream) > 0);
    const bool isPlaced = needsPlace && self.end.has_value() && chunk.presentationTime.isNumeric();
    const std::span<const float> samples = isPlaced ? bridge(stream, chunk, emit) : chunk.samples;
    if (samples.empty()) return;
    const auto count = static_cast<std::int64_t>(chunk.samples.size());
    if (chunk.presentationTime.isNumeric())
        self.end = position(chunk.presentationTime) + count;
    else if (self.end)
        *self.end += count;
    self.filled = isPlaced ? 0 : standIn(stream);
    self.missed = 0;
    self.padsAtEnd = mixerPads(stream);
    self.isInterrupted = false;
    pushSamples(stream, chunk.presentationTime, samples);
    if (self.filled > 0) letOtherWait(stream, count);
}

/// What of the chunk is to be heard, after the silence that belongs before it has gone in.
std::span<const float> StreamContinuity::bridge(CaptureStream stream, const MixBusChunk& chunk,
                                                const DualStreamMixer::EmitFrame& emit) {
    const std::span<const float> samples(chunk.samples);
    const std::int64_t missing =
        position(chunk.presentationTime) - *state(stream).end - standIn(stream);
    if (!isPlausible(missing)) return samples;
    if (missing > 0) pushSilence(stream, missing, emit);
    const auto surplus = static_cast<std::size_t>(std::max<std::int64_t>(-missing, 0));
    return samples.subspan(std::min(surplus, samples.size()));
}

/// Silence keeps up with a stream that is away, so what is still missing is little. A time that
/// says otherwise is no time of this clock, and must neither fill the memory nor drop audio.
bool StreamContinuity::isPlausible(std::int64_t missingSamples) const {
    const double seconds = static_cast<double>(missingSamples) / mixRateHz_;
    return seconds >= -kLongestOverlapSeconds && seconds <= kLongestMissingSeconds;
}

/// At the pace at which the late stream catches up: the mixer sees no difference then, and what is
/// late may be but the end of what was captured before an interruption.
void StreamContinuity::letOtherWait(CaptureStream stream, std::int64_t lateSamples) {
    Stream& self = state(stream);
    if (!std::exchange(loggedLateAudio_, true))
        log_.line(std::string(nameOf(stream)) + " came late; the other stream waits");
    const std::int64_t count = std::min(self.filled, lateSamples);
    self.filled -= count;
    pushToMixer(otherThan(stream), MediaTime::invalid(),
                std::vector<float>(static_cast<std::size_t>(count)));
}

void StreamContinuity::pushSilence(CaptureStream stream, std::int64_t sampleCount,
                                   const DualStreamMixer::EmitFrame& emit) {
    const std::vector<float> silence(static_cast<std::size_t>(std::min(sampleCount, kSilenceStep)));
    for (std::int64_t left = sampleCount; left > 0; left -= kSilenceStep) {
        const auto step = static_cast<std::size_t>(std::min(left, kSilenceStep));
        pushSamples(stream, MediaTime::invalid(), std::span(silence).first(step));
        mixer_.drain(emit);
    }
}

void StreamContinuity::pushSamples(CaptureStream stream, MediaTime time,
                                   std::span<const float> samples) {
    const auto count = static_cast<std::int64_t>(samples.size());
    const CaptureStream other = otherThan(stream);
    state(other).missed += count;
    keepInReach(other, count);
    pushToMixer(stream, time, samples);
}

/// Before the other stream gets `incomingSamples`.
void StreamContinuity::keepInReach(CaptureStream stream, std::int64_t incomingSamples) {
    Stream& self = state(stream);
    if (!self.end || !isAway(self)) return;
    const std::int64_t lead = queued(otherThan(stream)) + incomingSamples - queued(stream);
    const std::int64_t excess = lead - mixer_.maxDriftSamples();
    if (excess <= 0) return;
    pushToMixer(stream, MediaTime::invalid(), std::vector<float>(static_cast<std::size_t>(excess)));
    self.filled += excess;
}

void StreamContinuity::pushToMixer(CaptureStream stream, MediaTime time,
                                   std::span<const float> samples) {
    if (stream == CaptureStream::system)
        mixer_.pushSystem(time, samples);
    else
        mixer_.pushMicrophone(time, samples);
}

void StreamContinuity::fillUpTo(double now, const DualStreamMixer::EmitFrame& emit) {
    const std::int64_t target = std::llround(now * mixRateHz_);
    for (const CaptureStream stream : {CaptureStream::system, CaptureStream::microphone}) {
        Stream& self = state(stream);
        if (!self.end) continue;
        const std::int64_t missing = target - *self.end - standIn(stream);
        if (missing <= 0) continue;
        pushSilence(stream, missing, emit);
        self.filled += missing;
    }
}

}  // namespace tapwell
