#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

namespace tapwell {

/// A piece of scheduled work that can be cancelled until it begins. Any thread.
class WorkItem {
public:
    explicit WorkItem(std::function<void()> work) : work_(std::move(work)) {}

    /// Does nothing when the work has begun.
    void cancel() { cancelled_.store(true); }
    bool isCancelled() const { return cancelled_.load(); }
    /// Runs the work unless it was cancelled. Called by the queue.
    void perform() const {
        if (!isCancelled()) work_();
    }

private:
    std::function<void()> work_;
    std::atomic<bool> cancelled_{false};
};

}  // namespace tapwell
