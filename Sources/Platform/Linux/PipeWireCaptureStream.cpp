#include "Platform/Linux/PipeWireCaptureStream.h"

#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <string>
#include <utility>

namespace tapwell {
namespace {

std::int64_t monotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

pw_properties* propertiesFor(const CaptureTarget& target) {
    const std::string serial = std::to_string(target.nodeSerial);
    pw_properties* properties = pw_properties_new(
        PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_NODE_NAME,
        target.isMonitor ? "tapwell.system" : "tapwell.microphone", PW_KEY_TARGET_OBJECT,
        serial.c_str(), PW_KEY_STREAM_DONT_REMIX, "true", nullptr);
    if (target.isMonitor) pw_properties_set(properties, PW_KEY_STREAM_CAPTURE_SINK, "true");
    return properties;
}

CaptureCycle cycleOf(pw_stream* stream) {
    pw_time time{};
    pw_stream_get_time_n(stream, &time, sizeof time);
    CaptureCycle cycle;
    // No time yet when the driver has not told one to the stream.
    cycle.nowNanoseconds = time.now > 0 ? time.now : monotonicNanoseconds();
    cycle.ticks = time.ticks;
    cycle.delay = time.delay;
    cycle.buffered = time.buffered;
    if (time.rate.num != 0 && time.rate.denom != 0) {
        cycle.rateNumerator = time.rate.num;
        cycle.rateDenominator = time.rate.denom;
    }
    return cycle;
}

/// Gives a dequeued buffer back on every path.
class DequeuedBuffer {
public:
    explicit DequeuedBuffer(pw_stream* stream)
        : stream_(stream), buffer_(pw_stream_dequeue_buffer(stream)) {}
    ~DequeuedBuffer() {
        if (buffer_ != nullptr) pw_stream_queue_buffer(stream_, buffer_);
    }
    DequeuedBuffer(const DequeuedBuffer&) = delete;
    DequeuedBuffer& operator=(const DequeuedBuffer&) = delete;

    const pw_buffer* get() const { return buffer_; }

private:
    pw_stream* stream_;
    pw_buffer* buffer_;
};

}  // namespace

PipeWireCaptureStream::PipeWireCaptureStream(pw_core* core, const CaptureTarget& target,
                                             std::shared_ptr<CaptureFeed> feed,
                                             std::function<void(CaptureFeed::Need)> tell)
    : feed_(std::move(feed)),
      tell_(std::move(tell)),
      bytesPerFrame_(target.channelCount() * static_cast<std::uint32_t>(sizeof(float))),
      nodeGlobalId_(target.nodeGlobalId),
      passesOn_(target.passesOn),
      stream_(pw_stream_new(core, "Tapwell", propertiesFor(target))) {
    if (stream_ == nullptr) return;
    static const pw_stream_events events = [] {
        pw_stream_events made{};
        made.version = PW_VERSION_STREAM_EVENTS;
        made.io_changed = &onIoChanged;
        made.process = &onProcess;
        return made;
    }();
    pw_stream_add_listener(stream_, &hook_, &events, this);
    isConnected_ = connect(target);
}

PipeWireCaptureStream::~PipeWireCaptureStream() {
    if (stream_ == nullptr) return;
    // Waits for the real-time thread to leave the stream. The hook goes after that: the callback
    // is called through it.
    pw_stream_disconnect(stream_);
    spa_hook_remove(&hook_);
    pw_stream_destroy(stream_);
}

bool PipeWireCaptureStream::connect(const CaptureTarget& target) {
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32;
    info.rate = target.sampleRate;
    info.channels = target.channelCount();
    std::copy(target.channelPositions.begin(), target.channelPositions.end(), info.position);
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_pod* format = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
    // Without DONT_RECONNECT a stream whose target is the default at the moment follows the default
    // later.
    const auto flags =
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                     PW_STREAM_FLAG_RT_PROCESS | PW_STREAM_FLAG_DONT_RECONNECT);
    return pw_stream_connect(stream_, PW_DIRECTION_INPUT, PW_ID_ANY, flags, &format, 1) >= 0;
}

// Called on the loop's thread whenever another driver takes over, whose clock bears its id.
void PipeWireCaptureStream::onIoChanged(void* self, std::uint32_t id, void* area, std::uint32_t) {
    if (id != SPA_IO_Position || area == nullptr) return;
    auto* stream = static_cast<PipeWireCaptureStream*>(self);
    const std::uint32_t driver = static_cast<const spa_io_position*>(area)->clock.id;
    stream->isNodeDriving_.store(driver == stream->nodeGlobalId_, std::memory_order_relaxed);
}

void PipeWireCaptureStream::onProcess(void* self) {
    auto* stream = static_cast<PipeWireCaptureStream*>(self);
    const DequeuedBuffer buffer(stream->stream_);
    if (buffer.get() != nullptr) stream->process(*buffer.get(), cycleOf(stream->stream_));
}

void PipeWireCaptureStream::process(const pw_buffer& buffer, CaptureCycle cycle) {
    const spa_buffer* block = buffer.buffer;
    if (block->n_datas == 0 || block->datas[0].data == nullptr) return;
    const spa_data& data = block->datas[0];
    const std::uint32_t offset = std::min(data.chunk->offset, data.maxsize);
    const std::uint32_t frames = std::min(data.chunk->size, data.maxsize - offset) / bytesPerFrame_;
    if (frames == 0) return;
    cycle.isOneCycleLate = passesOn_ && isNodeDriving_.load(std::memory_order_relaxed);
    const auto* first =
        reinterpret_cast<const float*>(static_cast<const std::byte*>(data.data) + offset);
    const std::span samples(first, std::size_t{frames} * bytesPerFrame_ / sizeof(float));
    const CaptureFeed::Need need = feed_->deliver(samples, cycle);
    if (need != CaptureFeed::Need::nothing) tell_(need);
}

}  // namespace tapwell
