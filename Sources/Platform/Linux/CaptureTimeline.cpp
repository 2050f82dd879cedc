#include "Platform/Linux/CaptureTimeline.h"

#include <cmath>

namespace tapwell {
namespace {

constexpr double kNanosecondsPerSecond = 1e9;

double graphFrameSeconds(const CaptureCycle& cycle) {
    return static_cast<double>(cycle.rateNumerator) / cycle.rateDenominator;
}

}  // namespace

CaptureTimes CaptureTimeline::place(const CaptureCycle& cycle, std::uint64_t frames) {
    CaptureTimes times;
    times.cycleHostTime = static_cast<std::uint64_t>(cycle.nowNanoseconds);
    const double heldBack = heldBackFrames(cycle, frames);
    const double heldBackNanoseconds = heldBack * graphFrameSeconds(cycle) * kNanosecondsPerSecond;
    times.firstHostTime =
        static_cast<std::uint64_t>(cycle.nowNanoseconds - std::llround(heldBackNanoseconds));
    times.firstSampleTime = sampleTimeOf(cycle, heldBack, times.firstHostTime);

    hasPrevious_ = true;
    previous_ = cycle;
    previousTimes_ = times;
    previousFrames_ = frames;
    return times;
}

double CaptureTimeline::heldBackFrames(const CaptureCycle& cycle, std::uint64_t frames) {
    const double told = static_cast<double>(cycle.delay) + static_cast<double>(cycle.buffered);
    return cycle.isOneCycleLate ? told + cycleFrames(cycle, frames) : told;
}

/// The length of a cycle. A resampled buffer is a frame longer or shorter than its cycle at times,
/// which must not shake the times; the driver's position tells the length exactly, except across
/// lost cycles.
double CaptureTimeline::cycleFrames(const CaptureCycle& cycle, std::uint64_t frames) {
    constexpr double kResamplingFrames = 2;
    const double byBuffer = static_cast<double>(frames) / streamRate_ / graphFrameSeconds(cycle);
    const double byPosition = static_cast<double>(cycle.ticks - previous_.ticks);
    if (hasPrevious_ && std::abs(byPosition - byBuffer) <= kResamplingFrames)
        cycleFrames_ = byPosition;
    else if (std::abs(cycleFrames_ - byBuffer) > kResamplingFrames)
        cycleFrames_ = std::round(byBuffer);
    return cycleFrames_;
}

// The position and the clock of one driver advance together, over lost cycles too; the tolerance
// leaves room for a driver whose rate is off and whose clock is adjusted in steps.
bool CaptureTimeline::followsSameDriver(const CaptureCycle& cycle) const {
    constexpr double kToleranceSeconds = 0.002;
    constexpr double kRateTolerance = 0.005;
    if (cycle.rateDenominator != previous_.rateDenominator || cycle.ticks <= previous_.ticks)
        return false;
    const double byPosition =
        static_cast<double>(cycle.ticks - previous_.ticks) * graphFrameSeconds(cycle);
    const double byClock = static_cast<double>(cycle.nowNanoseconds - previous_.nowNanoseconds) /
                           kNanosecondsPerSecond;
    return std::abs(byPosition - byClock) <= kToleranceSeconds + kRateTolerance * byClock;
}

double CaptureTimeline::sampleTimeOf(const CaptureCycle& cycle, double heldBack,
                                     std::uint64_t firstHostTime) {
    const double position =
        (static_cast<double>(cycle.ticks) - heldBack) * graphFrameSeconds(cycle) * streamRate_;
    if (!hasPrevious_) {
        offset_ = std::round(position) - position;
        return std::round(position);
    }
    if (!followsSameDriver(cycle)) {
        const auto passed = static_cast<std::int64_t>(firstHostTime - previousTimes_.firstHostTime);
        const double byClock =
            previousTimes_.firstSampleTime +
            std::round(static_cast<double>(passed) * streamRate_ / kNanosecondsPerSecond);
        offset_ = byClock - position;
        return byClock;
    }
    // Where the server resamples, positions are fractions of a frame, but frames are whole.
    constexpr double kRoundingFrames = 1.5;
    const double expected = previousTimes_.firstSampleTime + static_cast<double>(previousFrames_);
    const double measured = position + offset_;
    return std::abs(measured - expected) < kRoundingFrames ? expected : std::round(measured);
}

}  // namespace tapwell
