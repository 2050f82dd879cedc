#pragma once

#include "Platform/Clock.h"

#include <cstdint>

namespace tapwell {

/// Measures how fast samples arrive: from a producer that waits for us, or from one that lives in
/// real time. One thread at a time.
class ProducerPace {
public:
    /// Begins measuring. `clock` must outlive this object.
    ProducerPace(const Clock& clock, double sampleRate);

    /// Whether the first `frameCount` frames came several times faster than they last. Never true
    /// of sound that is recorded as it happens, whatever held it up before it came here: it cannot
    /// be ahead of real time.
    bool isFasterThanRealTime(std::uint64_t frameCount) const;

    /// Around all work for the producer.
    void beginWork();
    void endWork();
    /// Seconds spent waiting for the producer since the last reset.
    double waitedSeconds() const { return waitedSeconds_; }
    void resetWait() { waitedSeconds_ = 0; }

private:
    double secondsSince(std::uint64_t hostTicks) const;

    const Clock& clock_;
    const double sampleRate_;
    const std::uint64_t startTicks_;
    std::uint64_t workEndTicks_;
    double waitedSeconds_ = 0;
};

}  // namespace tapwell
