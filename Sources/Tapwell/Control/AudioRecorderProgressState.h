#pragma once

#include "Platform/Clock.h"

#include <cstdint>
#include <mutex>
#include <optional>

namespace tapwell {

/// How far a recording is. Any thread.
class AudioRecorderProgressState {
public:
    void begin(Clock::Date startTime) {
        const std::lock_guard hold(lock_);
        bytesWritten_ = 0;
        startTime_ = startTime;
    }
    void addBytes(std::int64_t bytes) {
        const std::lock_guard hold(lock_);
        bytesWritten_ += bytes;
    }
    void setBytesWritten(std::int64_t bytes) {
        const std::lock_guard hold(lock_);
        bytesWritten_ = bytes;
    }
    /// Bytes handed to the encoder so far; after a stop, the size of the finished file.
    std::int64_t bytesWritten() const {
        const std::lock_guard hold(lock_);
        return bytesWritten_;
    }
    /// Whole milliseconds from the start until `now`, cut off; 0 before the first start.
    std::int64_t elapsedMs(Clock::Date now) const {
        const std::lock_guard hold(lock_);
        if (!startTime_) return 0;
        return std::chrono::duration_cast<std::chrono::milliseconds>(now - *startTime_).count();
    }

private:
    mutable std::mutex lock_;
    std::int64_t bytesWritten_ = 0;
    std::optional<Clock::Date> startTime_;
};

}  // namespace tapwell
