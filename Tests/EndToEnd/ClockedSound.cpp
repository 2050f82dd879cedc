#include "EndToEnd/ClockedSound.h"

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <utility>
#include <vector>

namespace tapwell::test {
namespace {

/// One side of the sound: a stream that gives the server what it asks for.
class ClockedStream {
public:
    ClockedStream(std::vector<float> samples, int sampleRate)
        : samples_(std::move(samples)), sampleRate_(sampleRate) {}

    ~ClockedStream() {
        if (stream_ == nullptr) return;
        pw_stream_disconnect(stream_);
        spa_hook_remove(&hook_);
        pw_stream_destroy(stream_);
    }
    ClockedStream(const ClockedStream&) = delete;
    ClockedStream& operator=(const ClockedStream&) = delete;

    /// Call with the loop locked, as all of PipeWire's functions.
    void connect(pw_core* core, pw_properties* properties, int flags) {
        stream_ = pw_stream_new(core, "clocked sound", properties);
        if (stream_ == nullptr) throw std::runtime_error("no stream");
        events_.version = PW_VERSION_STREAM_EVENTS;
        events_.process = [](void* self) { static_cast<ClockedStream*>(self)->process(); };
        pw_stream_add_listener(stream_, &hook_, &events_, this);

        spa_audio_info_raw format{};
        format.format = SPA_AUDIO_FORMAT_F32;
        format.rate = static_cast<std::uint32_t>(sampleRate_);
        format.channels = 1;
        format.position[0] = SPA_AUDIO_CHANNEL_MONO;
        std::array<std::uint8_t, 1024> memory{};
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
        const spa_pod* parameter =
            spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format);
        const int allFlags = flags | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
        if (pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY,
                              static_cast<pw_stream_flags>(allFlags), &parameter, 1) < 0) {
            throw std::runtime_error("the stream does not connect");
        }
    }

    void setActive(bool active) { pw_stream_set_active(stream_, active); }

private:
    /// The place in the sound at the moment that the server's cycle stands for.
    std::size_t positionNow() const {
        pw_time time{};
        pw_stream_get_time_n(stream_, &time, sizeof time);
        const double position = std::round(static_cast<double>(time.now) * sampleRate_ / 1e9);
        return static_cast<std::size_t>(std::fmod(position, static_cast<double>(samples_.size())));
    }

    void process() const {
        pw_buffer* buffer = pw_stream_dequeue_buffer(stream_);
        if (buffer == nullptr) return;
        const spa_data& data = buffer->buffer->datas[0];
        const auto most = static_cast<std::uint64_t>(data.maxsize / sizeof(float));
        const auto count = std::min(most, std::uint64_t{buffer->requested});
        auto* output = static_cast<float*>(data.data);
        std::size_t position = positionNow();
        for (std::uint64_t index = 0; index < count; ++index) {
            output[index] = samples_[position];
            position = (position + 1) % samples_.size();
        }
        data.chunk->offset = 0;
        data.chunk->stride = sizeof(float);
        data.chunk->size = static_cast<std::uint32_t>(count * sizeof(float));
        pw_stream_queue_buffer(stream_, buffer);
    }

    std::vector<float> samples_;
    int sampleRate_;
    pw_stream* stream_ = nullptr;
    pw_stream_events events_{};
    spa_hook hook_{};
};

pw_properties* speakerProperties() {
    return pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback",
                             PW_KEY_NODE_NAME, "clocked-playback", nullptr);
}

pw_properties* microphoneProperties() {
    return pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CLASS, "Audio/Source",
                             PW_KEY_NODE_NAME, ClockedSound::microphoneName,
                             PW_KEY_PRIORITY_SESSION, "9000", nullptr);
}

std::string socketPath(const AudioSession& session) {
    const auto& environment = session.environment();
    return environment.at("PIPEWIRE_RUNTIME_DIR").value() + "/" +
           environment.at("PIPEWIRE_REMOTE").value();
}

}  // namespace

/// The connection to the server and its loop.
struct ClockedSound::Client {
    Client(const std::string& socket, TwoSidedSound sound, int sampleRate)
        : speaker(std::move(sound.speaker), sampleRate),
          microphone(std::move(sound.microphone), sampleRate) {
        pw_init(nullptr, nullptr);
        loop = pw_thread_loop_new("clocked sound", nullptr);
        context = pw_context_new(pw_thread_loop_get_loop(loop), nullptr, 0);
        core = pw_context_connect(
            context, pw_properties_new(PW_KEY_REMOTE_NAME, socket.c_str(), nullptr), 0);
        if (core == nullptr) throw std::runtime_error("no audio server at " + socket);
        speaker.connect(core, speakerProperties(), PW_STREAM_FLAG_AUTOCONNECT);
        microphone.connect(core, microphoneProperties(), PW_STREAM_FLAG_INACTIVE);
        pw_thread_loop_start(loop);
    }

    pw_thread_loop* loop = nullptr;
    pw_context* context = nullptr;
    pw_core* core = nullptr;
    ClockedStream speaker;
    ClockedStream microphone;
};

ClockedSound::ClockedSound(const AudioSession& session, TwoSidedSound sound)
    : client_(
          std::make_unique<Client>(socketPath(session), std::move(sound), session.sampleRate())) {}

ClockedSound::~ClockedSound() {
    pw_thread_loop* loop = client_->loop;
    pw_context* context = client_->context;
    pw_thread_loop_stop(loop);
    client_.reset();
    pw_context_destroy(context);
    pw_thread_loop_destroy(loop);
}

void ClockedSound::setMicrophoneDelivers(bool delivers) {
    pw_thread_loop_lock(client_->loop);
    client_->microphone.setActive(delivers);
    pw_thread_loop_unlock(client_->loop);
}

}  // namespace tapwell::test
