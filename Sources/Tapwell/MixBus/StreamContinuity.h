#pragma once

#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/MixBus/DualStreamMixer.h"
#include "Tapwell/MixBus/MixBusChunk.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace tapwell {

enum class CaptureStream { system, microphone };

/// Keeps two streams in step across interruptions, in front of a mixer that aligns them only at
/// their beginning and then counts samples:
///
/// - A stream that goes on after an interruption (a change of device, lost cycles) is preceded by
///   silence as long as the interruption was in time; what a new device captured before the old one
///   ended is dropped, so that no moment is heard twice.
/// - While one stream stays away, it is kept in reach with silence, just enough that the other one
///   flows; this counts as part of the interruption when it comes back.
/// - A stream that was only late, and interrupted nowhere, keeps all its samples; the other one
///   waits for it, by as much silence as was put in. Not so the rest of a filter that comes when
///   the stream turns out to have been interrupted: what silence stands for by then is dropped.
///
/// Not synchronised: every call comes from the mix queue.
class StreamContinuity {
public:
    /// `mixer` must outlive this. `mixRateHz`: samples a second of both streams.
    StreamContinuity(DualStreamMixer& mixer, double mixRateHz, Log log);

    /// Hands a chunk to the mixer, with the silence that belongs before it. Frames that become
    /// complete on the way are emitted; the last ones are left to the caller's `drain`.
    void push(CaptureStream stream, const MixBusChunk& chunk,
              const DualStreamMixer::EmitFrame& emit);

    /// Neither stream delivers: both go on with silence up to `now`, in seconds of presentation
    /// time. A stream that has not begun stays so.
    void fillUpTo(double now, const DualStreamMixer::EmitFrame& emit);

private:
    struct Stream {
        /// Where the last captured sample ended, in samples of presentation time.
        std::optional<std::int64_t> end;
        std::int64_t filled = 0;     ///< silence put in since then and not made up for
        std::int64_t missed = 0;     ///< samples that the other got since then
        std::int64_t padsAtEnd = 0;  ///< the mixer's own padding at that moment
        bool isInterrupted = false;  ///< what comes next is placed by its time
    };

    Stream& state(CaptureStream stream) { return streams_[static_cast<std::size_t>(stream)]; }
    static CaptureStream otherThan(CaptureStream stream);
    std::int64_t position(MediaTime time) const;
    std::int64_t queued(CaptureStream stream) const;
    std::int64_t mixerPads(CaptureStream stream) const;
    bool isAway(const Stream& stream) const { return stream.missed >= awayAfterSamples_; }

    /// Silence already in the stream's place since its last captured sample.
    std::int64_t standIn(CaptureStream stream);
    std::span<const float> bridge(CaptureStream stream, const MixBusChunk& chunk,
                                  const DualStreamMixer::EmitFrame& emit);
    bool isPlausible(std::int64_t missingSamples) const;
    void letOtherWait(CaptureStream stream, std::int64_t lateSamples);
    void pushSilence(CaptureStream stream, std::int64_t sampleCount,
                     const DualStreamMixer::EmitFrame& emit);
    void pushSamples(CaptureStream stream, MediaTime time, std::span<const float> samples);
    void keepInReach(CaptureStream stream, std::int64_t incomingSamples);
    void pushToMixer(CaptureStream stream, MediaTime time, std::span<const float> samples);

    DualStreamMixer& mixer_;
    const double mixRateHz_;
    const std::int64_t awayAfterSamples_;
    const Log log_;
    std::array<Stream, 2> streams_;
    bool loggedLateAudio_ = false;
};

}  // namespace tapwell
