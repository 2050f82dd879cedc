#pragma once

#include "Platform/Semaphore.h"

namespace tapwell {

/// A counting semaphore of libdispatch.
class DispatchSemaphore final : public Semaphore {
public:
    DispatchSemaphore();
    ~DispatchSemaphore() override;
    DispatchSemaphore(const DispatchSemaphore&) = delete;
    DispatchSemaphore& operator=(const DispatchSemaphore&) = delete;

    void signal() override;
    void wait() override;
    /// A timeout that is not positive takes a signal that is there and never waits.
    bool wait(std::chrono::nanoseconds timeout) override;

private:
    void* const semaphore_;  ///< a dispatch_semaphore_t
};

}  // namespace tapwell
