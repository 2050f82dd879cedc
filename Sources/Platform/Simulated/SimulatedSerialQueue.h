#pragma once

#include "Platform/SerialQueue.h"
#include "Platform/Simulated/VirtualTime.h"

#include <deque>
#include <memory>
#include <string>

namespace tapwell {

/// A serial queue in virtual time. Work runs when time is advanced, or when `sync` needs what was
/// submitted before it to have run.
class SimulatedSerialQueue final : public SerialQueue {
public:
    SimulatedSerialQueue(VirtualTime& time, std::string label);

    using SerialQueue::asyncAfter;
    const std::string& label() const override { return label_; }
    void async(std::function<void()> work) override;
    /// Throws std::logic_error when called from the queue's own work.
    void sync(const std::function<void()>& work) override;
    void asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) override;

    /// While a queue is stalled nothing of it runs, as if its thread were starved.
    void setStalled(bool stalled);

private:
    struct State {
        std::deque<std::function<void()>> pending;
        bool running = false;
        bool stalled = false;
    };
    static void runPending(const std::shared_ptr<State>& state);

    VirtualTime& time_;
    const std::string label_;
    /// Shared with the scheduled work, which outlives the queue.
    const std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace tapwell
