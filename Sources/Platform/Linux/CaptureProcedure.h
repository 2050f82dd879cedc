#pragma once

#include "Platform/AudioHardware.h"
#include "Platform/Linux/AsioSerialQueue.h"
#include "Platform/Linux/CaptureFeed.h"
#include "Platform/Linux/PipeWireCaptureStream.h"

#include <functional>
#include <memory>

namespace tapwell {

/// An I/O procedure: which device it belongs to, where it delivers, and while it runs, its stream.
/// Used with the connection's lock held; destroyed without, because it may hold the last reference
/// to its queue.
class CaptureProcedure {
public:
    CaptureProcedure(AudioObjectID device, CaptureTarget target,
                     std::shared_ptr<AsioSerialQueue> queue, AudioIOBlock block);
    ~CaptureProcedure() { stop(); }
    CaptureProcedure(const CaptureProcedure&) = delete;
    CaptureProcedure& operator=(const CaptureProcedure&) = delete;

    AudioObjectID device() const { return device_; }
    const CaptureTarget& target() const { return target_; }
    bool isRunning() const { return stream_ != nullptr; }

    /// False when the server does not make the stream, or the process has no descriptor left.
    /// `report` is called by the real-time thread when frames were lost for the first time.
    bool start(pw_core* core, std::function<void()> report);
    /// After the return nothing more is delivered, but for a buffer that is on its way.
    void stop();

    /// Loop's thread: the number of frames lost when that is to be reported, else 0.
    std::uint64_t takeLostFrames();

private:
    AudioObjectID device_;
    CaptureTarget target_;
    std::shared_ptr<AsioSerialQueue> queue_;
    std::shared_ptr<const AudioIOBlock> block_;  ///< shared with the drains that are under way
    // New ones for each run.
    std::shared_ptr<CaptureFeed> feed_;
    std::shared_ptr<QueueDoorbell> doorbell_;
    std::unique_ptr<PipeWireCaptureStream> stream_;
};

}  // namespace tapwell
