#pragma once

#include "Platform/QueueFactory.h"
#include "Platform/StandardStreams.h"
#include "Tapwell/Diagnostics/Log.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

namespace tapwell {

/// Streams stereo PCM on standard output, as frames of the magic "TLPC", the payload's length in
/// bytes (unsigned 32-bit, little-endian) and the payload: interleaved signed 16-bit little-endian
/// samples, left = microphone, right = system audio.
///
/// A frame is written whole or not at all, whatever else is written to standard output. Producers
/// never wait for the reader: frames go through a queue of their own, and when the reader is more
/// than kMaxPendingBytes behind, new frames are dropped, counted, and the first loss is logged.
class RtmpsPcmStdoutSink : public std::enable_shared_from_this<RtmpsPcmStdoutSink> {
public:
    static constexpr std::string_view magic = "TLPC";
    /// Five seconds at 48 kHz.
    static constexpr std::int64_t kMaxPendingBytes = 5 * 48000 * 4;

    static std::shared_ptr<RtmpsPcmStdoutSink> create(QueueFactory& queues,
                                                      StandardStreams& streams);

    /// Takes interleaved pairs. Fewer than 2 samples or an odd number are ignored. Any thread.
    void pushInterleavedFloatStereo(std::span<const float> samples);

    /// Waits until what was pushed is written, but no longer than a reader deserves that has
    /// stopped reading: `kFlushTimeout`. What is left then is dropped and counted.
    void flush();
    static constexpr std::chrono::seconds kFlushTimeout{1};

    /// Payload bytes written so far.
    std::int64_t bytesEmitted() const;
    /// Frames dropped because the reader was too slow.
    std::int64_t framesDropped() const;

private:
    RtmpsPcmStdoutSink(QueueFactory& queues, StandardStreams& streams);

    bool reserve(std::int64_t payloadBytes);
    void emitPcmFrame(const std::string& frame, std::int64_t payloadBytes);

    QueueFactory& queues_;
    StandardStreams& streams_;
    const Log log_;
    const std::shared_ptr<SerialQueue> writeQueue_;
    mutable std::mutex lock_;  ///< guards the counters
    std::int64_t pendingBytes_ = 0;
    std::int64_t bytesEmitted_ = 0;
    std::int64_t framesDropped_ = 0;
    bool abandoned_ = false;  ///< after a flush that gave up
};

}  // namespace tapwell
