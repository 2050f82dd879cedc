#include "Tapwell/Outputs/RtmpsPcmStdoutSink.h"

#include "RecorderMixBus/Precondition.h"
#include "Tapwell/Outputs/Pcm16.h"

#include <limits>

namespace tapwell {
namespace {

std::string frameFor(std::span<const float> samples) {
    const std::vector<std::byte> payload = Pcm16::littleEndianBytes(samples);
    precondition(payload.size() <= std::numeric_limits<std::uint32_t>::max(),
                 "PCM frame does not fit its length field");
    const auto length = static_cast<std::uint32_t>(payload.size());
    std::string frame(RtmpsPcmStdoutSink::magic);
    frame.reserve(frame.size() + sizeof length + payload.size());
    for (unsigned shift = 0; shift < 32; shift += 8)
        frame += static_cast<char>((length >> shift) & 0xFFU);
    frame.append(reinterpret_cast<const char*>(payload.data()), payload.size());
    return frame;
}

}  // namespace

std::shared_ptr<RtmpsPcmStdoutSink> RtmpsPcmStdoutSink::create(QueueFactory& queues,
                                                               StandardStreams& streams) {
    return std::shared_ptr<RtmpsPcmStdoutSink>(new RtmpsPcmStdoutSink(queues, streams));
}

RtmpsPcmStdoutSink::RtmpsPcmStdoutSink(QueueFactory& queues, StandardStreams& streams)
    : queues_(queues),
      streams_(streams),
      log_(streams, "mic-debug"),
      writeQueue_(queues.makeSerialQueue("Tapwell.RtmpsPcmStdoutSink.Write")) {}

void RtmpsPcmStdoutSink::pushInterleavedFloatStereo(std::span<const float> samples) {
    if (samples.size() < 2 || samples.size() % 2 != 0) return;
    const auto payloadBytes = static_cast<std::int64_t>(samples.size() * 2);
    if (!reserve(payloadBytes)) return;
    writeQueue_->async([self = shared_from_this(), frame = frameFor(samples), payloadBytes] {
        self->emitPcmFrame(frame, payloadBytes);
    });
}

/// False when the reader is too far behind; the frame is then counted as dropped.
bool RtmpsPcmStdoutSink::reserve(std::int64_t payloadBytes) {
    bool isFirstLoss = false;
    {
        const std::lock_guard hold(lock_);
        if (pendingBytes_ + payloadBytes <= kMaxPendingBytes) {
            pendingBytes_ += payloadBytes;
            return true;
        }
        isFirstLoss = framesDropped_++ == 0;
    }
    if (isFirstLoss) log_.line("RTMPS reader is too slow: dropping PCM frames on standard output");
    return false;
}

/// On the write queue; waits for the reader.
void RtmpsPcmStdoutSink::emitPcmFrame(const std::string& frame, std::int64_t payloadBytes) {
    {
        const std::lock_guard hold(lock_);
        if (abandoned_) {
            ++framesDropped_;
            return;
        }
    }
    streams_.writeOutput(frame);
    const std::lock_guard hold(lock_);
    pendingBytes_ -= payloadBytes;
    bytesEmitted_ += payloadBytes;
}

void RtmpsPcmStdoutSink::flush() {
    const auto written = queues_.makeSemaphore();
    writeQueue_->async([written] { written->signal(); });
    if (written->wait(kFlushTimeout)) return;
    const std::lock_guard hold(lock_);
    abandoned_ = true;
}

std::int64_t RtmpsPcmStdoutSink::bytesEmitted() const {
    const std::lock_guard hold(lock_);
    return bytesEmitted_;
}

std::int64_t RtmpsPcmStdoutSink::framesDropped() const {
    const std::lock_guard hold(lock_);
    return framesDropped_;
}

}  // namespace tapwell
