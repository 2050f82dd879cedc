#include "Platform/Linux/AacEncoder.h"

#include "Platform/AudioStreamBasicDescription.h"
#include "Platform/RecorderError.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

namespace tapwell {

namespace {

void check(int result, const char* action) {
    if (result >= 0) return;
    std::array<char, AV_ERROR_MAX_STRING_SIZE> reason{};
    av_strerror(result, reason.data(), reason.size());
    throw RecorderError("FFmpeg", result,
                        std::string("Cannot ") + action + " AAC: " + reason.data());
}

/// The encoder's settings that are a matter of taste; docs/decisions/0001-aac-encoder.md has the
/// measurements behind them.
void chooseTools(AVCodecContext& context) {
    constexpr int kHighestFrequencyHz = 16000;
    constexpr std::int64_t kBitRateOfHigherFrequencies = 64000;  // a channel, by the encoder's rule
    check(av_opt_set(context.priv_data, "aac_coder", "fast", 0), "encode");
    check(av_opt_set_int(context.priv_data, "aac_tns", 0, 0), "encode");
    check(av_opt_set_int(context.priv_data, "aac_pns", 0, 0), "encode");
    if (context.bit_rate > kBitRateOfHigherFrequencies * context.ch_layout.nb_channels &&
        context.sample_rate > 2 * kHighestFrequencyHz)
        context.cutoff = kHighestFrequencyHz;
}

/// Ten times full scale: above any signal, far below what breaks the encoder.
float usableSample(float sample) {
    constexpr float kLimit = 10.0F;
    if (std::isnan(sample)) return 0.0F;
    return std::clamp(sample, -kLimit, kLimit);
}

}  // namespace

void AacEncoder::ContextDeleter::operator()(AVCodecContext* context) const {
    avcodec_free_context(&context);
}
void AacEncoder::FrameDeleter::operator()(AVFrame* frame) const {
    av_frame_free(&frame);
}
void AacEncoder::PacketDeleter::operator()(AVPacket* packet) const {
    av_packet_free(&packet);
}

bool AacEncoder::supports(const AudioOutputSettings& settings) {
    // ISO/IEC 14496-3, sampling frequency index, and the packet size limit of 6144 bits a channel.
    constexpr std::array kSampleRates = {96000.0, 88200.0, 64000.0, 48000.0, 44100.0,
                                         32000.0, 24000.0, 22050.0, 16000.0, 12000.0,
                                         11025.0, 8000.0,  7350.0};
    constexpr double kMaxPacketBitsPerChannel = 6144;
    if (settings.formatID != kAudioFormatMPEG4AAC) return false;
    if (settings.numberOfChannels != 1 && settings.numberOfChannels != 2) return false;
    if (std::ranges::find(kSampleRates, settings.sampleRate) == kSampleRates.end()) return false;
    const double bitsPerPacket = static_cast<double>(settings.encoderBitRate) *
                                 AacTrack::kFramesPerPacket / settings.sampleRate;
    return settings.encoderBitRate > 0 &&
           bitsPerPacket <=
               kMaxPacketBitsPerChannel * static_cast<double>(settings.numberOfChannels);
}

AacEncoder::AacEncoder(const AudioOutputSettings& settings, Part part)
    : frame_(av_frame_alloc()),
      packet_(av_packet_alloc()),
      packetsToDiscard_(part == Part::later ? kPrimingPackets + 1 : 0) {
    openContext(settings, part);
    if (!frame_ || !packet_) check(AVERROR(ENOMEM), "encode");
    frame_->format = context_->sample_fmt;
    frame_->sample_rate = context_->sample_rate;
    frame_->nb_samples = context_->frame_size;
    check(av_channel_layout_copy(&frame_->ch_layout, &context_->ch_layout), "encode");
    check(av_frame_get_buffer(frame_.get(), 0), "encode");

    track_.sampleRate = static_cast<std::uint32_t>(context_->sample_rate);
    track_.channelCount = static_cast<std::uint16_t>(settings.numberOfChannels);
    track_.bitRate = static_cast<std::uint32_t>(settings.encoderBitRate);
    track_.primingFrames = static_cast<std::uint32_t>(context_->initial_padding);
    const std::span config(context_->extradata, static_cast<std::size_t>(context_->extradata_size));
    const auto configBytes = std::as_bytes(config);
    track_.audioSpecificConfig.assign(configBytes.begin(), configBytes.end());
}

AacEncoder::~AacEncoder() = default;

void AacEncoder::openContext(const AudioOutputSettings& settings, Part part) {
    // Rate control begins at a scale of 120, coarser than where most signals settle, and works its
    // way up. One that begins finer works its way down during the priming, and a joint is never
    // worse than what is around it. Any value beyond the usual range does.
    constexpr int kFineScale = 1000;
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (codec == nullptr) check(AVERROR_ENCODER_NOT_FOUND, "encode");
    context_.reset(avcodec_alloc_context3(codec));
    if (!context_) check(AVERROR(ENOMEM), "encode");
    context_->sample_rate = static_cast<int>(settings.sampleRate);
    context_->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context_->bit_rate = settings.encoderBitRate;
    context_->time_base = AVRational{1, context_->sample_rate};
    context_->thread_count = 1;
    if (part == Part::later) context_->global_quality = kFineScale;
    context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_channel_layout_default(&context_->ch_layout, static_cast<int>(settings.numberOfChannels));
    chooseTools(*context_);
    check(avcodec_open2(context_.get(), codec, nullptr), "encode");
    if (context_->frame_size != static_cast<int>(AacTrack::kFramesPerPacket))
        check(AVERROR_BUG, "encode");
}

void AacEncoder::encode(std::span<const float> samples, const PacketSink& sink) {
    while (!samples.empty()) {
        if (framesInFrame_ == 0) beginFrame();
        const std::size_t room =
            std::size_t{AacTrack::kFramesPerPacket - framesInFrame_} * track_.channelCount;
        const std::size_t count = std::min(room, samples.size());
        copyToFrame(samples.first(count));
        samples = samples.subspan(count);
        if (framesInFrame_ == AacTrack::kFramesPerPacket) sendFrame(frame_.get(), sink);
    }
}

void AacEncoder::finish(const PacketSink& sink) {
    if (framesSent_ == 0 && framesInFrame_ == 0) return;
    if (framesInFrame_ > 0) sendFrame(frame_.get(), sink);
    sendFrame(nullptr, sink);
}

void AacEncoder::beginFrame() {
    check(av_frame_make_writable(frame_.get()), "encode");
}

void AacEncoder::copyToFrame(std::span<const float> samples) {
    const std::size_t channels = track_.channelCount;
    const std::size_t frames = samples.size() / channels;
    for (std::size_t channel = 0; channel < channels; ++channel) {
        float* plane = reinterpret_cast<float*>(frame_->extended_data[channel]) + framesInFrame_;
        for (std::size_t i = 0; i < frames; ++i)
            plane[i] = usableSample(samples[i * channels + channel]);
    }
    framesInFrame_ += static_cast<std::uint32_t>(frames);
}

void AacEncoder::sendFrame(AVFrame* frame, const PacketSink& sink) {
    if (frame != nullptr) {
        frame->nb_samples = static_cast<int>(framesInFrame_);
        frame->pts = framesSent_;
        framesSent_ += framesInFrame_;
        framesInFrame_ = 0;
    }
    check(avcodec_send_frame(context_.get(), frame), "encode");
    for (;;) {
        const int result = avcodec_receive_packet(context_.get(), packet_.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
        check(result, "encode");
        const std::span bytes(packet_->data, static_cast<std::size_t>(packet_->size));
        if (packetsToDiscard_ > 0)
            --packetsToDiscard_;
        else
            sink(std::as_bytes(bytes));
        av_packet_unref(packet_.get());
    }
}

}  // namespace tapwell
