#include "Tapwell/MixBus/SystemClockEstimate.h"

#include <cmath>

namespace tapwell {
namespace {

constexpr double kMinSamples = 8.0;
constexpr double kMinSeconds = 0.0001;
constexpr double kNewWeight = 0.08;
constexpr double kOldWeight = 0.92;
/// Crystals agree within some hundred parts per million, and after a lost buffer the average comes
/// back by a twelfth at a time; a wider tolerance would bend the pitch on its way back.
constexpr double kSettledTolerance = 0.0005;

}  // namespace

void SystemClockEstimate::update(const AudioTimeStamp& stamp) {
    if (!stamp.hasSampleTime() || !stamp.hasHostTime()) return;
    const double hostSeconds = clock_.hostSeconds(stamp.hostTime);
    const std::lock_guard hold(lock_);
    if (lastSysSampleForClock_ && lastSysHostSecondsForClock_) {
        const double samples = stamp.sampleTime - *lastSysSampleForClock_;
        const double seconds = hostSeconds - *lastSysHostSecondsForClock_;
        if (samples > kMinSamples && seconds > kMinSeconds) {
            latestHz_ = samples / seconds;
            emaSystemSemanticClockHz_ =
                emaSystemSemanticClockHz_
                    ? latestHz_ * kNewWeight + *emaSystemSemanticClockHz_ * kOldWeight
                    : latestHz_;
        }
    }
    lastSysSampleForClock_ = stamp.sampleTime;
    lastSysHostSecondsForClock_ = hostSeconds;
}

void SystemClockEstimate::reset() {
    const std::lock_guard hold(lock_);
    lastSysSampleForClock_.reset();
    lastSysHostSecondsForClock_.reset();
    emaSystemSemanticClockHz_.reset();
}

std::optional<double> SystemClockEstimate::hz() const {
    const std::lock_guard hold(lock_);
    return emaSystemSemanticClockHz_;
}

std::optional<double> SystemClockEstimate::settledHz() const {
    const std::lock_guard hold(lock_);
    if (!emaSystemSemanticClockHz_ || std::abs(latestHz_ - *emaSystemSemanticClockHz_) >
                                          kSettledTolerance * *emaSystemSemanticClockHz_)
        return std::nullopt;
    return emaSystemSemanticClockHz_;
}

}  // namespace tapwell
