#pragma once

#include "Platform/Semaphore.h"
#include "Platform/Simulated/VirtualTime.h"

namespace tapwell {

/// Waiting lets virtual time pass until the signal comes.
class SimulatedSemaphore final : public Semaphore {
public:
    explicit SimulatedSemaphore(VirtualTime& time) : time_(time) {}

    void signal() override { ++count_; }
    void wait() override { take(std::nullopt); }
    bool wait(std::chrono::nanoseconds timeout) override { return take(timeout); }

private:
    bool take(std::optional<VirtualTime::Duration> timeout) {
        if (!time_.waitUntil([this] { return count_ > 0; }, timeout)) return false;
        --count_;
        return true;
    }

    VirtualTime& time_;
    int count_ = 0;
};

}  // namespace tapwell
