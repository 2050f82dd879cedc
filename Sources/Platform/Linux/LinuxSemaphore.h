#pragma once

#include "Platform/Semaphore.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace tapwell {

/// A counting semaphore on the process's threads.
class LinuxSemaphore final : public Semaphore {
public:
    void signal() override;
    void wait() override;
    /// A timeout that is not positive takes a signal that is there and never waits.
    bool wait(std::chrono::nanoseconds timeout) override;

private:
    std::mutex mutex_;
    std::condition_variable signalled_;
    std::uint64_t count_ = 0;  ///< guarded by mutex_
};

}  // namespace tapwell
