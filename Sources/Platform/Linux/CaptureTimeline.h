#pragma once

#include "Platform/Linux/CaptureRing.h"

#include <cstdint>

namespace tapwell {

/// What the audio server says about one capture cycle; the fields are those of pw_time.
struct CaptureCycle {
    std::int64_t nowNanoseconds = 0;  ///< monotonic clock at the cycle's start
    std::uint64_t ticks = 0;          ///< the driver's position at that moment, in graph frames
    std::int64_t delay = 0;           ///< from the device to here, in graph frames
    std::uint64_t buffered = 0;       ///< held back by the server's resampler, in graph frames
    std::uint32_t rateNumerator = 1;  ///< length of a graph frame in seconds, as a fraction
    std::uint32_t rateDenominator = 1;
    /// Whether the buffer was filled in the cycle before, which the server does not count as delay.
    bool isOneCycleLate = false;
};

/// Places capture buffers in host time and counts them in sample time. Real-time safe; one thread.
///
/// The first frame of a buffer was captured at now - (delay + buffered) graph frames, less one
/// cycle where the buffer is that late. All of this comes from the driver, so the result is as
/// smooth as the driver's clock and free of the callback's jitter. Sample time follows the driver's
/// position the same way, so that a lost cycle shows as a jump of both. When another driver takes
/// over, whose position starts anywhere, sample time goes on by the host time that has passed.
class CaptureTimeline {
public:
    /// `streamRate`: frames a second of the buffers, which the server may have resampled.
    explicit CaptureTimeline(double streamRate) : streamRate_(streamRate) {}

    CaptureTimes place(const CaptureCycle& cycle, std::uint64_t frames);

private:
    double heldBackFrames(const CaptureCycle& cycle, std::uint64_t frames);
    double cycleFrames(const CaptureCycle& cycle, std::uint64_t frames);
    bool followsSameDriver(const CaptureCycle& cycle) const;
    double sampleTimeOf(const CaptureCycle& cycle, double heldBack, std::uint64_t firstHostTime);

    double streamRate_;
    bool hasPrevious_ = false;
    CaptureCycle previous_;
    CaptureTimes previousTimes_;
    std::uint64_t previousFrames_ = 0;
    double cycleFrames_ = 0;  ///< graph frames of a cycle, as the driver's position told last
    double offset_ = 0;  ///< from the driver's position to sample time, in frames of the stream
};

}  // namespace tapwell
