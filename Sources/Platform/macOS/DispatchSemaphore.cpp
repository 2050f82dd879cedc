#include "Platform/macOS/DispatchSemaphore.h"

#include <dispatch/dispatch.h>

#include <algorithm>
#include <cstdint>

namespace tapwell {
namespace {

dispatch_semaphore_t native(void* semaphore) {
    return static_cast<dispatch_semaphore_t>(semaphore);
}

}  // namespace

DispatchSemaphore::DispatchSemaphore() : semaphore_(dispatch_semaphore_create(0)) {}

DispatchSemaphore::~DispatchSemaphore() {
    dispatch_release(native(semaphore_));
}

void DispatchSemaphore::signal() {
    dispatch_semaphore_signal(native(semaphore_));
}

void DispatchSemaphore::wait() {
    dispatch_semaphore_wait(native(semaphore_), DISPATCH_TIME_FOREVER);
}

bool DispatchSemaphore::wait(std::chrono::nanoseconds timeout) {
    const std::int64_t nanoseconds = std::max<std::int64_t>(timeout.count(), 0);
    return dispatch_semaphore_wait(native(semaphore_),
                                   dispatch_time(DISPATCH_TIME_NOW, nanoseconds)) == 0;
}

}  // namespace tapwell
