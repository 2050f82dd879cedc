#pragma once

#include "Platform/WorkItem.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tapwell {

/// Runs work one piece at a time, in the order of submission. All operations may be called on any
/// thread, and none is real-time safe.
///
/// Work scheduled for later joins the order when its time has come. A queue that is released
/// still runs what was submitted before with `async`; work scheduled for later may be dropped.
/// Releasing the last reference inside the queue's own work is allowed.
class SerialQueue {
public:
    virtual ~SerialQueue() = default;

    virtual const std::string& label() const = 0;

    /// Runs `work` after everything submitted before. Never blocks on running work.
    virtual void async(std::function<void()> work) = 0;

    /// Runs `work` after everything submitted before, and returns when it has run. Must not be
    /// called from work of the same queue. An exception of `work` is rethrown to the caller.
    virtual void sync(const std::function<void()>& work) = 0;

    /// Runs `work` once `delay` has passed.
    virtual void asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) = 0;

    /// Runs `item` once `delay` has passed, unless it was cancelled by then.
    void asyncAfter(std::chrono::nanoseconds delay, std::shared_ptr<WorkItem> item) {
        asyncAfter(delay, [item = std::move(item)] { item->perform(); });
    }
};

}  // namespace tapwell
