#include "Platform/Linux/ProducerPace.h"

namespace tapwell {

ProducerPace::ProducerPace(const Clock& clock, double sampleRate)
    : clock_(clock),
      sampleRate_(sampleRate),
      startTicks_(clock.hostTicks()),
      workEndTicks_(startTicks_) {}

bool ProducerPace::isFasterThanRealTime(std::uint64_t frameCount) const {
    constexpr double kTimesRealTime = 4;
    const double seconds = static_cast<double>(frameCount) / sampleRate_;
    return secondsSince(startTicks_) * kTimesRealTime < seconds;
}

void ProducerPace::beginWork() {
    waitedSeconds_ += secondsSince(workEndTicks_);
}

void ProducerPace::endWork() {
    workEndTicks_ = clock_.hostTicks();
}

double ProducerPace::secondsSince(std::uint64_t hostTicks) const {
    return clock_.hostSeconds(clock_.hostTicks() - hostTicks);
}

}  // namespace tapwell
