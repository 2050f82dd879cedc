#pragma once

#include <chrono>

namespace tapwell {

/// A counting semaphore that starts at 0. `signal` may be called on any thread; it is not real-time
/// safe. A host with virtual time lets time pass while a thread waits.
class Semaphore {
public:
    virtual ~Semaphore() = default;

    virtual void signal() = 0;
    /// Takes one signal, waiting for it.
    virtual void wait() = 0;
    /// Takes one signal, waiting for at most `timeout`; false when none came.
    virtual bool wait(std::chrono::nanoseconds timeout) = 0;
};

}  // namespace tapwell
