#pragma once

#include "Platform/AudioHardware.h"
#include "Platform/Linux/CaptureRing.h"
#include "Platform/Linux/CaptureTimeline.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tapwell {

/// One run of an I/O procedure, from its real-time callback to its queue: buffers go into a ring,
/// and one drain at a time is asked for by the real-time thread and carried out by the queue.
class CaptureFeed {
public:
    /// Seconds of audio that a stalled queue may fall behind.
    static constexpr double kRingSeconds = 2.2;

    /// What the real-time thread has to see to.
    enum class Need {
        nothing,
        drain,  ///< a drain, by the queue
        report  ///< somebody to notice the first loss: the queue has stalled and cannot
    };

    CaptureFeed(std::uint32_t channels, double sampleRate);

    /// Real-time thread.
    Need deliver(std::span<const float> samples, const CaptureCycle& cycle);

    /// Loop's thread: true once, after audio was lost because the ring was full.
    bool takeOverrunReport();

    /// The queue's work: calls `block` for every buffer, unless the feed is cancelled.
    void drain(const AudioIOBlock& block);

    /// Any thread: no buffer that has not begun to be delivered will be.
    void cancel() { isCancelled_.store(true); }

    /// Any thread: frames lost because the ring was full.
    std::uint64_t overrunFrames() const { return overrunFrames_.load(std::memory_order_relaxed); }
    /// Any thread: the graph's rate in the last cycle, in Hz; 0 before the first.
    std::uint32_t graphRate() const { return graphRate_.load(std::memory_order_relaxed); }

private:
    std::uint32_t channels_;
    CaptureTimeline timeline_;  ///< real-time thread only
    CaptureRing ring_;
    /// Buffers pushed since the last drain began. Both sides read and write it in one step, so
    /// either the drain sees a buffer or the buffer's push sees that a drain is needed.
    std::atomic<std::uint32_t> pushedSinceDrain_{0};
    std::atomic<std::uint64_t> overrunFrames_{0};
    std::atomic<std::uint32_t> graphRate_{0};
    std::atomic<bool> isCancelled_{false};
    bool hasReportedOverrun_ = false;  ///< loop's thread only
};

}  // namespace tapwell
