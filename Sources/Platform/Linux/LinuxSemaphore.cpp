#include "Platform/Linux/LinuxSemaphore.h"

namespace tapwell {

void LinuxSemaphore::signal() {
    // Notified under the lock: the waiter may destroy the semaphore as soon as it has the signal.
    const std::lock_guard lock(mutex_);
    ++count_;
    signalled_.notify_one();
}

void LinuxSemaphore::wait() {
    std::unique_lock lock(mutex_);
    signalled_.wait(lock, [this] { return count_ > 0; });
    --count_;
}

bool LinuxSemaphore::wait(std::chrono::nanoseconds timeout) {
    using Steady = std::chrono::steady_clock;
    const Steady::time_point now = Steady::now();
    const bool isEndless = timeout > Steady::time_point::max() - now;
    const Steady::time_point deadline = isEndless ? Steady::time_point::max() : now + timeout;
    std::unique_lock lock(mutex_);
    if (!signalled_.wait_until(lock, deadline, [this] { return count_ > 0; })) return false;
    --count_;
    return true;
}

}  // namespace tapwell
