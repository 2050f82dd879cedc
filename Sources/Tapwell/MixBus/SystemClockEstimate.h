#pragma once

#include "Platform/AudioTimeStamp.h"
#include "Platform/Clock.h"

#include <mutex>
#include <optional>

namespace tapwell {

/// A smoothed estimate of the rate, in Hz of host time, at which a stream really produces samples.
/// Any thread.
class SystemClockEstimate {
public:
    explicit SystemClockEstimate(const Clock& clock) : clock_(clock) {}

    /// Takes up a callback's time stamp. A stamp without both times changes nothing, and one that
    /// lies too close to the last one only moves the reference.
    void update(const AudioTimeStamp& stamp);

    /// Another device has taken over: what was measured does not count.
    void reset();

    /// The estimate; absent until two stamps were far enough apart.
    std::optional<double> hz() const;

    /// The estimate while the latest measurement agrees with it. A lost buffer or a stall throws
    /// the average off for a while; resampling by it would bend the pitch.
    std::optional<double> settledHz() const;

private:
    const Clock& clock_;
    mutable std::mutex lock_;
    std::optional<double> lastSysSampleForClock_;
    std::optional<double> lastSysHostSecondsForClock_;
    std::optional<double> emaSystemSemanticClockHz_;
    double latestHz_ = 0;
};

}  // namespace tapwell
