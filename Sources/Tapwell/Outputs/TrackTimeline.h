#pragma once

#include "Platform/Clock.h"

#include <cstdint>
#include <optional>

namespace tapwell {

/// Where the buffers of one capture stream belong in that stream's file, by their capture times.
/// Not synchronised.
class TrackTimeline {
public:
    /// A stream that runs is allowed to come so much late before it counts as interrupted: less is
    /// the wandering of a clock, and a hole in the sound would be worse.
    static constexpr double kToleranceSeconds = 0.01;

    /// `sampleRate`: of the file, in Hz.
    TrackTimeline(const Clock& clock, double sampleRate) : clock_(clock), sampleRate_(sampleRate) {}

    /// The frames that are missing in the file before a buffer whose first frame was captured at
    /// `hostTime` (host ticks), when it holds `framesWritten` so far. The first buffer defines the
    /// timeline, and misses none.
    std::int64_t framesMissing(std::uint64_t hostTime, std::int64_t framesWritten);

    /// For a buffer without a capture time, whose last frame was captured just before `arrival`
    /// (host ticks): the first one places the file, as well as that can be told.
    void noteArrival(std::uint64_t arrival, std::int64_t frames, std::int64_t framesWritten);

    /// The stream was interrupted: its next buffer is placed exactly.
    void expectGap() { isGapExpected_ = true; }

    /// Whether a buffer with a capture time has come.
    bool isDefined() const { return firstHostTime_.has_value(); }

    /// Capture time of the file's first frame, in host ticks; absent before the first buffer.
    std::optional<std::uint64_t> origin() const;

    /// Frames from one host time to a later one, rounded; negative when it is earlier.
    std::int64_t framesBetween(std::uint64_t first, std::uint64_t second) const;

private:
    std::uint64_t ticksBack(std::uint64_t hostTime, std::int64_t frames) const;

    const Clock& clock_;
    const double sampleRate_;
    std::optional<std::uint64_t> firstHostTime_;
    std::int64_t framesBeforeFirst_ = 0;  ///< in the file, before the buffer of firstHostTime_
    std::optional<std::uint64_t> arrivalOrigin_;
    bool isGapExpected_ = false;
};

}  // namespace tapwell
