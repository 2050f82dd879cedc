#include "Tapwell/Outputs/TrackTimeline.h"

#include <algorithm>
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

void TrackTimeline::noteArrival(std::uint64_t arrival, std::int64_t frames,
                                std::int64_t framesWritten) {
    if (!arrivalOrigin_) arrivalOrigin_ = ticksBack(arrival, frames + framesWritten);
}

std::optional<std::uint64_t> TrackTimeline::origin() const {
    return firstHostTime_ ? ticksBack(*firstHostTime_, framesBeforeFirst_) : arrivalOrigin_;
}

std::uint64_t TrackTimeline::ticksBack(std::uint64_t hostTime, std::int64_t frames) const {
    const double ticks = static_cast<double>(frames) / sampleRate_ / clock_.hostSeconds(1);
    return hostTime - std::min(hostTime, static_cast<std::uint64_t>(std::llround(ticks)));
}

std::int64_t TrackTimeline::framesBetween(std::uint64_t first, std::uint64_t second) const {
    const bool forward = second >= first;
    const double seconds = clock_.hostSeconds(forward ? second - first : first - second);
    const auto frames = static_cast<std::int64_t>(std::llround(seconds * sampleRate_));
    return forward ? frames : -frames;
}

}  // namespace tapwell
