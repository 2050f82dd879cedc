#pragma once

#include "Platform/Clock.h"
#include "Platform/Semaphore.h"

#include <atomic>
#include <chrono>
#include <memory>

namespace tapwell {

/// Waits until both capture streams deliver. The mixer aligns the streams once, against what it has
/// not yet given out; with both running before the first sample is taken, none is given out alone
/// and the alignment is exact, however long one of the devices took to start.
class FirstBuffers {
public:
    explicit FirstBuffers(std::shared_ptr<Semaphore> arrived) : arrived_(std::move(arrived)) {}

    /// From the capture queues, at every buffer; only the first of each stream counts.
    void systemArrived() { arrive(system_); }
    void microphoneArrived() { arrive(microphone_); }

    /// Returns when both streams have delivered, or after `timeout`. Once.
    void awaitBoth(const Clock& clock, std::chrono::nanoseconds timeout) {
        const Clock::Date deadline = clock.now() + timeout;
        for (int stream = 0; stream < 2; ++stream)
            if (!arrived_->wait(deadline - clock.now())) return;
    }

    bool hasMicrophoneArrived() const { return microphone_.load(); }

private:
    void arrive(std::atomic<bool>& stream) {
        if (!stream.load(std::memory_order_relaxed) && !stream.exchange(true)) arrived_->signal();
    }

    const std::shared_ptr<Semaphore> arrived_;
    std::atomic<bool> system_{false};
    std::atomic<bool> microphone_{false};
};

}  // namespace tapwell
