#include "Support/AacDecoding.h"

#include <gtest/gtest.h>

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace tapwell::test {

namespace {

struct Closer {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Reader = std::unique_ptr<AVFormatContext, Closer>;
using Decoder = std::unique_ptr<AVCodecContext, Closer>;

Reader openReader(const std::string& path) {
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) return nullptr;
    Reader reader(opened);
    if (reader->nb_streams != 1) return nullptr;
    return reader;
}

Decoder openDecoder(const AVStream& stream) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    Decoder decoder(avcodec_alloc_context3(codec));
    if (avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0) return nullptr;
    decoder->pkt_timebase = stream.time_base;
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return nullptr;
    return decoder;
}

void takeFrames(AVCodecContext& decoder, AVFrame& frame, DecodedAudio& out) {
    while (avcodec_receive_frame(&decoder, &frame) >= 0) {
        ASSERT_EQ(frame.format, AV_SAMPLE_FMT_FLTP);
        for (int i = 0; i < frame.nb_samples; ++i)
            for (std::size_t channel = 0; channel < out.channelCount; ++channel)
                out.samples.push_back(
                    reinterpret_cast<const float*>(frame.extended_data[channel])[i]);
        av_frame_unref(&frame);
    }
}

}  // namespace

std::vector<float> DecodedAudio::channel(std::size_t index) const {
    std::vector<float> one;
    for (std::size_t i = index; i < samples.size(); i += channelCount)
        one.push_back(samples[i]);
    return one;
}

DecodedAudio decodeAudioFile(const std::string& path) {
    av_log_set_level(AV_LOG_QUIET);
    DecodedAudio out;
    const Reader reader = openReader(path);
    if (!reader) {
        ADD_FAILURE() << "no reader opens " << path;
        return out;
    }
    const AVStream& stream = *reader->streams[0];
    const Decoder decoder = openDecoder(stream);
    if (!decoder) {
        ADD_FAILURE() << "no decoder for " << path;
        return out;
    }
    out.sampleRate = stream.codecpar->sample_rate;
    out.channelCount = static_cast<std::size_t>(stream.codecpar->ch_layout.nb_channels);
    out.declaredFrames = stream.duration;  // the media counts frames

    const std::unique_ptr<AVPacket, Closer> packet(av_packet_alloc());
    const std::unique_ptr<AVFrame, Closer> frame(av_frame_alloc());
    while (av_read_frame(reader.get(), packet.get()) >= 0) {
        // A packet that the end of the file cut short is the reader's to pass over.
        if ((packet->flags & AV_PKT_FLAG_CORRUPT) == 0) {
            EXPECT_GE(avcodec_send_packet(decoder.get(), packet.get()), 0) << path;
            takeFrames(*decoder, *frame, out);
        }
        av_packet_unref(packet.get());
    }
    avcodec_send_packet(decoder.get(), nullptr);
    takeFrames(*decoder, *frame, out);
    return out;
}

}  // namespace tapwell::test
