#include "Tapwell/Outputs/TrackTimeline.h"

#include <cmath>
#include <utility>

namespace tapwell {

std::int64_t TrackTimeline::framesMissing(std::uint64_t hostTime, std::int64_t framesWritten) {
    const bool isGapExpected = std::exchange(isGapExpected_, false);
    if (!firstHostTime_) {
        firstHostTime_ = hostTime;
        framesBeforeFirst_ = framesWritten;
        return 0;
    }
    const std::int64_t missing =
        framesBeforeFirst_ + framesBetween(*firstHostTime_, hostTime) - framesWritten;
    const auto tolerance =
        isGapExpected ? 0 : static_cast<std::int64_t>(kToleranceSeconds * sampleRate_);
    return missing > tolerance ? missing : 0;
}

std::optional<std::uint64_t> TrackTimeline::origin() const {
    if (!firstHostTime_) return std::nullopt;
    const double ticksPerSecond = 1.0 / clock_.hostSeconds(1);
    const auto ticks = static_cast<std::uint64_t>(static_cast<double>(framesBeforeFirst_) /
                                                  sampleRate_ * ticksPerSecond);
    return ticks < *firstHostTime_ ? *firstHostTime_ - ticks : 0;
}

std::int64_t TrackTimeline::framesBetween(std::uint64_t first, std::uint64_t second) const {
    const bool forward = second >= first;
    const double seconds = clock_.hostSeconds(forward ? second - first : first - second);
    const auto frames = static_cast<std::int64_t>(std::llround(seconds * sampleRate_));
    return forward ? frames : -frames;
}

}  // namespace tapwell
