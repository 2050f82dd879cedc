#pragma once

#include "Platform/Linux/QueueDoorbell.h"
#include "Platform/QueueFactory.h"
#include "Platform/SerialQueue.h"

#include <functional>
#include <memory>
#include <string>

namespace tapwell {

/// A serial queue with a thread of its own, so that work that blocks holds up no other queue. The
/// thread starts with the first work and carries the end of the label as its name.
///
/// The destructor waits until everything submitted with `async` has run and the thread has ended;
/// scheduled work whose time has not come is dropped. Inside the queue's own work it does not wait:
/// the thread runs what is left and ends by itself. An exception that leaves work submitted with
/// `async` or `asyncAfter` ends the program.
class AsioSerialQueue final : public SerialQueue {
public:
    AsioSerialQueue(std::string label, QualityOfService qualityOfService);
    ~AsioSerialQueue() override;
    AsioSerialQueue(const AsioSerialQueue&) = delete;
    AsioSerialQueue& operator=(const AsioSerialQueue&) = delete;

    const std::string& label() const override;
    void async(std::function<void()> work) override;
    /// Called from the queue's own work, it ends the program with a message.
    void sync(const std::function<void()>& work) override;
    using SerialQueue::asyncAfter;
    void asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) override;

    /// A doorbell that has `work` run by this queue, in its turn. It is to be closed before the
    /// queue goes; the queue closes what is left. Throws std::system_error when the process has no
    /// descriptor left.
    std::shared_ptr<QueueDoorbell> makeDoorbell(std::function<void()> work);

private:
    struct Core;
    std::shared_ptr<Core> core_;  ///< shared with the thread, which may outlive the queue
};

}  // namespace tapwell
