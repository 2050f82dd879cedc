#pragma once

#include "Platform/Linux/CaptureFeed.h"

#include <pipewire/pipewire.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace tapwell {

/// What is captured, and as what: interleaved 32-bit floats in the node's own channels, which the
/// server then has no reason to mix.
struct CaptureTarget {
    std::uint64_t nodeSerial = 0;
    std::uint32_t nodeGlobalId = 0;
    bool isMonitor = false;  ///< what a sink plays, rather than what a source records
    /// Whether the node passes on what it was given, and tells no delay for it.
    bool passesOn = false;
    std::uint32_t sampleRate = 0;
    std::vector<std::uint32_t> channelPositions;

    std::uint32_t channelCount() const {
        return static_cast<std::uint32_t>(channelPositions.size());
    }
};

/// A capture stream on one node, which it never leaves: when the node goes, the stream falls
/// silent. Made and destroyed with the loop's lock held; after the destructor no callback runs.
class PipeWireCaptureStream {
public:
    /// `tell` is called by the real-time thread when the feed needs something. Captures nothing
    /// when the server refuses, which `isConnected` tells.
    PipeWireCaptureStream(pw_core* core, const CaptureTarget& target,
                          std::shared_ptr<CaptureFeed> feed,
                          std::function<void(CaptureFeed::Need)> tell);
    ~PipeWireCaptureStream();
    PipeWireCaptureStream(const PipeWireCaptureStream&) = delete;
    PipeWireCaptureStream& operator=(const PipeWireCaptureStream&) = delete;

    bool isConnected() const { return isConnected_; }

private:
    bool connect(const CaptureTarget& target);
    static void onIoChanged(void* self, std::uint32_t id, void* area, std::uint32_t size);
    static void onProcess(void* self);
    void process(const pw_buffer& buffer, CaptureCycle cycle);

    const std::shared_ptr<CaptureFeed> feed_;
    const std::function<void(CaptureFeed::Need)> tell_;
    const std::uint32_t bytesPerFrame_;
    const std::uint32_t nodeGlobalId_;
    const bool passesOn_;
    /// Whether the node drives the cycles that the stream runs in. What passes through a driving
    /// node comes out in the next cycle, and through another one in the same.
    std::atomic<bool> isNodeDriving_{false};
    pw_stream* stream_;
    spa_hook hook_{};
    bool isConnected_ = false;
};

}  // namespace tapwell
