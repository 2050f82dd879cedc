#pragma once

#include "Platform/Semaphore.h"

#include <memory>
#include <utility>

namespace tapwell {

/// Work that goes on elsewhere and never fails. Waiting for it blocks only the caller.
class FinishTask {
public:
    explicit FinishTask(std::shared_ptr<Semaphore> done) : done_(std::move(done)) {}

    /// Returns when the work is complete. Once.
    void await() { done_->wait(); }

private:
    std::shared_ptr<Semaphore> done_;
};

}  // namespace tapwell
