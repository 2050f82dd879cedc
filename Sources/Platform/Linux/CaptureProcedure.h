#pragma once

#include "Platform/AudioHardware.h"
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
    CaptureProcedure(AudioObjectID device, CaptureTarget target, std::shared_ptr<SerialQueue> queue,
                     AudioIOBlock block);

    AudioObjectID device() const { return device_; }
    const CaptureTarget& target() const { return target_; }
    bool isRunning() const { return stream_ != nullptr; }

    /// False when the server does not make the stream. `wake` as for PipeWireCaptureStream.
    bool start(pw_core* core, std::function<void()> wake);
    /// After the return nothing is submitted to the queue.
    void stop();

    /// Loop's thread: submits a drain if the real-time thread asked for one. Returns the number of
    /// frames lost when that is to be reported, else 0.
    std::uint64_t serve();

private:
    AudioObjectID device_;
    CaptureTarget target_;
    std::shared_ptr<SerialQueue> queue_;
    std::shared_ptr<const AudioIOBlock> block_;  ///< shared with the drains that are under way
    std::shared_ptr<CaptureFeed> feed_;          ///< a new one for each run
    std::unique_ptr<PipeWireCaptureStream> stream_;
};

}  // namespace tapwell
