#include "Tapwell/MixBus/DualStreamMixer.h"

#include "RecorderMixBus/Precondition.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace tapwell {
namespace {

constexpr double kMaxDriftSeconds = 0.25;

/// Round half away from zero, into 64 bits.
std::int64_t roundedSampleCount(double samples) {
    const double rounded = std::round(samples);
    precondition(std::isfinite(rounded) && std::abs(rounded) < 9223372036854775808.0,
                 "stream start times too far apart");
    return static_cast<std::int64_t>(rounded);
}

}  // namespace

std::int32_t preferredTimescale(double sampleRate) {
    const double rounded = std::round(sampleRate);
    precondition(std::isfinite(rounded) && rounded >= std::numeric_limits<std::int32_t>::min() &&
                     rounded <= std::numeric_limits<std::int32_t>::max(),
                 "sample rate does not fit a timescale");
    return std::clamp(static_cast<std::int32_t>(rounded), 1, 192000);
}

DualStreamMixer::DualStreamMixer(double sampleRate, Log log, float micPreamp)
    : sampleRate_(sampleRate),
      ptsTimescale_(preferredTimescale(sampleRate)),
      maxDriftSamples_(static_cast<std::int64_t>(sampleRate * kMaxDriftSeconds)),
      micPreamp_(micPreamp),
      log_(std::move(log)) {}

void DualStreamMixer::pushSystem(MediaTime pts, std::span<const float> samples) {
    if (samples.empty()) return;
    if (!firstSysPTS_) firstSysPTS_ = pts;
    alignOnce();
    sysQueue_.append(samples);
    padDrift();
}

void DualStreamMixer::pushMicrophone(MediaTime pts, std::span<const float> samples) {
    if (samples.empty()) return;
    hasAnyMicSample_ = true;
    if (!firstMicPTS_) firstMicPTS_ = pts;
    alignOnce();
    micQueue_.append(samples);
    padDrift();
}

/// Before the samples that complete the pair of first times are queued, so that the silence goes
/// ahead of what is queued already.
void DualStreamMixer::alignOnce() {
    if (timelineAligned_ || !firstSysPTS_ || !firstMicPTS_) return;
    timelineAligned_ = true;
    const double delta = (*firstMicPTS_ - *firstSysPTS_).seconds();
    const std::int64_t rawOffsetSamples = roundedSampleCount(delta * sampleRate_);
    const std::int64_t clamped = std::clamp(rawOffsetSamples, -maxDriftSamples_, maxDriftSamples_);
    if (clamped > 0) micQueue_.prependSilence(clamped);
    if (clamped < 0) sysQueue_.prependSilence(-clamped);

    if (clamped != rawOffsetSamples && !loggedInitialSkew_) {
        loggedInitialSkew_ = true;
        log_.line("initial PTS skew exceeded cap; clamped=" + std::to_string(clamped) +
                  " rawOffsetSamples=" + std::to_string(rawOffsetSamples));
    }
}

/// A fixed quarter of a second at a time: a larger gap closes over several pushes.
void DualStreamMixer::padDrift() {
    if (!hasAnyMicSample_) return;
    const std::int64_t systemLead = sysQueue_.count() - micQueue_.count();
    if (std::abs(systemLead) <= maxDriftSamples_) return;

    const bool micLags = systemLead > 0;
    (micLags ? micQueue_ : sysQueue_).appendSilence(maxDriftSamples_);
    (micLags ? micDriftPads_ : sysDriftPads_) += maxDriftSamples_;
    if (loggedDriftPad_) return;
    loggedDriftPad_ = true;
    log_.line(std::string(micLags ? "padded mic" : "padded system") +
              " for drift samples=" + std::to_string(maxDriftSamples_));
}

void DualStreamMixer::drain(const EmitFrame& emit) {
    ensureSessionPTS();
    if (!hasAnyMicSample_) {
        emitSystemOnlyCompleteFrames(emit);
        return;
    }
    while (emitOneMixedFrame(emit)) {
    }
}

void DualStreamMixer::ensureSessionPTS() {
    if (sessionPTSReady_) return;
    sessionPTSReady_ = true;
    if (firstSysPTS_ && firstSysPTS_->isNumeric())
        nextOutputPTS_ = *firstSysPTS_;
    else if (firstMicPTS_ && firstMicPTS_->isNumeric())
        nextOutputPTS_ = *firstMicPTS_;
    else
        nextOutputPTS_ = MediaTime::zero();
}

void DualStreamMixer::emitSystemOnlyCompleteFrames(const EmitFrame& emit) {
    while (sysQueue_.count() >= emitFrameSize) {
        emit(nextOutputPTS_, systemOnlyFrame(sysQueue_.take(emitFrameSize)));
        advance(emitFrameSize);
    }
}

bool DualStreamMixer::emitOneMixedFrame(const EmitFrame& emit) {
    if (sysQueue_.count() < emitFrameSize || micQueue_.count() < emitFrameSize) return false;
    emitMixed(emitFrameSize, emit);
    return true;
}

void DualStreamMixer::flushTail(const EmitFrame& emit) {
    ensureSessionPTS();
    if (!hasAnyMicSample_) {
        emitSystemOnlyCompleteFrames(emit);
        if (!sysQueue_.isEmpty())
            emit(nextOutputPTS_, systemOnlyFrame(sysQueue_.take(sysQueue_.count())));
        return;
    }
    padTailToEqualLength();
    while (emitOneMixedFrame(emit)) {
    }
    const std::int64_t rest = std::min(sysQueue_.count(), micQueue_.count());
    if (rest > 0) emitMixed(rest, emit);
    if (sysQueue_.isEmpty() && micQueue_.isEmpty()) return;
    log_.line("flushTail dropping leftover sys=" + std::to_string(sysQueue_.count()) +
              " mic=" + std::to_string(micQueue_.count()));
    sysQueue_.clear();
    micQueue_.clear();
}

void DualStreamMixer::padTailToEqualLength() {
    const std::int64_t systemLead = sysQueue_.count() - micQueue_.count();
    if (systemLead > 0)
        micQueue_.appendSilence(systemLead);
    else
        sysQueue_.appendSilence(-systemLead);
}

void DualStreamMixer::emitMixed(std::int64_t sampleCount, const EmitFrame& emit) {
    const std::vector<float> system = sysQueue_.take(sampleCount);
    const std::vector<float> mic = micQueue_.take(sampleCount);
    emit(nextOutputPTS_, mixedFrame(system, mic));
    advance(sampleCount);
}

void DualStreamMixer::advance(std::int64_t sampleCount) {
    nextOutputPTS_ = nextOutputPTS_ + MediaTime::make(sampleCount, ptsTimescale_);
}

}  // namespace tapwell
