#include "Platform/Simulated/SimulatedSerialQueue.h"

#include <stdexcept>

namespace tapwell {

SimulatedSerialQueue::SimulatedSerialQueue(VirtualTime& time, std::string label)
    : time_(time), label_(std::move(label)) {}

void SimulatedSerialQueue::async(std::function<void()> work) {
    state_->pending.push_back(std::move(work));
    time_.schedule(VirtualTime::Duration::zero(), [state = state_] { runPending(state); });
}

void SimulatedSerialQueue::sync(const std::function<void()>& work) {
    if (state_->running) throw std::logic_error("sync on " + label_ + " from its own work");
    runPending(state_);
    state_->running = true;
    try {
        work();
    } catch (...) {
        state_->running = false;
        throw;
    }
    state_->running = false;
    // What the work submitted runs on its own turn, when time settles.
}

void SimulatedSerialQueue::asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) {
    // The queue may be gone by then; its delayed work is dropped with it.
    time_.schedule(delay, [weak = std::weak_ptr(state_), work = std::move(work)] {
        const auto state = weak.lock();
        if (!state) return;
        state->pending.push_back(work);
        runPending(state);
    });
}

void SimulatedSerialQueue::setStalled(bool stalled) {
    state_->stalled = stalled;
    if (!stalled)
        time_.schedule(VirtualTime::Duration::zero(), [state = state_] { runPending(state); });
}

void SimulatedSerialQueue::runPending(const std::shared_ptr<State>& state) {
    if (state->running || state->stalled) return;
    while (!state->pending.empty()) {
        const auto work = std::move(state->pending.front());
        state->pending.pop_front();
        state->running = true;
        work();
        state->running = false;
    }
}

}  // namespace tapwell
