#pragma once

#include "Platform/QueueFactory.h"
#include "Platform/SerialQueue.h"

#include <string>

namespace tapwell {

/// A serial queue of libdispatch. Releasing it waits for nothing: what was submitted runs, also
/// what was scheduled for later. An exception that leaves work submitted with `async` or
/// `asyncAfter` ends the program. `sync` from the queue's own work is a crash by libdispatch.
class DispatchSerialQueue final : public SerialQueue {
public:
    DispatchSerialQueue(std::string label, QualityOfService qualityOfService);
    ~DispatchSerialQueue() override;
    DispatchSerialQueue(const DispatchSerialQueue&) = delete;
    DispatchSerialQueue& operator=(const DispatchSerialQueue&) = delete;

    const std::string& label() const override { return label_; }
    void async(std::function<void()> work) override;
    void sync(const std::function<void()>& work) override;
    using SerialQueue::asyncAfter;
    void asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) override;

    /// The dispatch_queue_t; see NativeQueue.h.
    void* native() const { return queue_; }

private:
    const std::string label_;
    void* const queue_;
};

}  // namespace tapwell
