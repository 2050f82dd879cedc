#pragma once

#include "Platform/MediaTime.h"
#include "RecorderMixBus/MixMath.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/MixBus/SampleFifo.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace tapwell {

/// Aligns two streams of mono samples at the mix rate, the system audio and the microphone, and
/// joins them to one stream of frames with consecutive times. How one output frame is made of the
/// two is left to the subclass.
///
/// The streams are aligned once, by the times of their first samples, against what is queued at
/// that moment; later times do not move the output clock. A stream that falls a quarter of a second
/// behind the other is padded with silence. Until the first microphone sample the system audio
/// passes alone, at full gain.
///
/// Not synchronised: every call comes from the mix queue.
class DualStreamMixer {
public:
    /// Gets each output frame and the time of its first sample.
    using EmitFrame = std::function<void(MediaTime presentationTime, std::vector<float> frame)>;

    /// `sampleRate`: the mix rate in Hz.
    DualStreamMixer(double sampleRate, Log log, float micPreamp = MixMath::defaultMicPreamp);
    virtual ~DualStreamMixer() = default;
    DualStreamMixer(const DualStreamMixer&) = delete;
    DualStreamMixer& operator=(const DualStreamMixer&) = delete;

    /// Adds samples whose first one belongs to `pts`. An empty span is ignored. Ends the process
    /// when the first times of both streams lie so far apart that no sample count can express it.
    void pushSystem(MediaTime pts, std::span<const float> samples);
    void pushMicrophone(MediaTime pts, std::span<const float> samples);

    /// Emits the complete frames that are due: mixed ones while both streams hold one, or, before
    /// the first microphone sample, system audio alone.
    void drain(const EmitFrame& emit);

    /// The steps of `drain`. The first call fixes the time of the first output sample: that of the
    /// first system sample, else of the first microphone sample, else zero.
    void ensureSessionPTS();
    void emitSystemOnlyCompleteFrames(const EmitFrame& emit);
    /// False when one of the streams does not hold a whole frame.
    bool emitOneMixedFrame(const EmitFrame& emit);

    /// At the end: emits all that is queued, the shorter stream padded with silence; the last frame
    /// may be short.
    void flushTail(const EmitFrame& emit);

    bool hasAnyMicSample() const { return hasAnyMicSample_; }
    std::int32_t ptsTimescale() const { return ptsTimescale_; }
    std::int64_t queuedSystemSamples() const { return sysQueue_.count(); }
    std::int64_t queuedMicSamples() const { return micQueue_.count(); }
    /// How far one stream may fall behind the other, in samples.
    std::int64_t maxDriftSamples() const { return maxDriftSamples_; }
    /// All the silence that a stream got because it had fallen behind, in samples.
    std::int64_t systemDriftPads() const { return sysDriftPads_; }
    std::int64_t micDriftPads() const { return micDriftPads_; }

    /// Samples of each stream in a full output frame.
    static constexpr std::int64_t emitFrameSize = 1024;

protected:
    float micPreamp() const { return micPreamp_; }

private:
    /// One output frame of n samples from each stream.
    virtual std::vector<float> mixedFrame(std::span<const float> system,
                                          std::span<const float> mic) const = 0;
    /// One output frame of n system samples, without a microphone.
    virtual std::vector<float> systemOnlyFrame(std::span<const float> system) const = 0;

    void alignOnce();
    void padDrift();
    void padTailToEqualLength();
    void emitMixed(std::int64_t sampleCount, const EmitFrame& emit);
    void advance(std::int64_t sampleCount);

    const double sampleRate_;          ///< Hz
    const std::int32_t ptsTimescale_;  ///< one tick a sample, at integral rates
    const std::int64_t maxDriftSamples_;
    const float micPreamp_;
    const Log log_;
    SampleFifo sysQueue_;
    SampleFifo micQueue_;
    std::optional<MediaTime> firstSysPTS_;
    std::optional<MediaTime> firstMicPTS_;
    std::int64_t sysDriftPads_ = 0;
    std::int64_t micDriftPads_ = 0;
    bool timelineAligned_ = false;
    bool hasAnyMicSample_ = false;
    bool loggedInitialSkew_ = false;
    bool loggedDriftPad_ = false;
    MediaTime nextOutputPTS_ = MediaTime::invalid();
    bool sessionPTSReady_ = false;
};

/// The timescale of presentation times for a mix rate in Hz: the rate rounded, within [1, 192000].
/// Ends the process for a rate that does not round to a 32-bit integer.
std::int32_t preferredTimescale(double sampleRate);

}  // namespace tapwell
