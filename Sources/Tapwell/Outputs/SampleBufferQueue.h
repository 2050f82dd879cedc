#pragma once

#include "Platform/SampleBuffer.h"

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

namespace tapwell {

/// First in, first out. Any thread.
class SampleBufferQueue {
public:
    void push(SampleBuffer buffer) {
        const std::lock_guard hold(lock_);
        buffers_.push_back(std::move(buffer));
    }

    std::optional<SampleBuffer> pop() {
        const std::lock_guard hold(lock_);
        if (buffers_.empty()) return std::nullopt;
        std::optional<SampleBuffer> head(std::move(buffers_.front()));
        buffers_.pop_front();
        return head;
    }

    std::int64_t count() const {
        const std::lock_guard hold(lock_);
        return static_cast<std::int64_t>(buffers_.size());
    }

private:
    mutable std::mutex lock_;
    std::deque<SampleBuffer> buffers_;
};

}  // namespace tapwell
