#pragma once

#include "Platform/AudioOutputSettings.h"
#include "Platform/Linux/AacTrack.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace tapwell {

/// Encodes one stream of 32-bit float PCM to AAC-LC packets. Failures throw RecorderError of domain
/// "FFmpeg". One thread at a time.
class AacEncoder {
public:
    /// Which part of a stream an encoder gets.
    enum class Part {
        /// The stream from its first frame on.
        beginning,
        /// The stream from some packet on, preceded by kLeadInFrames from before it, for which no
        /// packets are handed out. Its packets follow those of the encoder before without a seam.
        later,
    };
    /// Packets that settle an encoder's rate control and block switching where it begins later;
    /// docs/decisions/0005-parallel-encoding.md has the measurements.
    static constexpr std::uint32_t kPrimingPackets = 6;
    /// The priming, and what a packet overlaps: the packet before it and the frames of its own.
    static constexpr std::uint32_t kLeadInFrames =
        (kPrimingPackets + 2) * AacTrack::kFramesPerPacket;

    /// Given each packet in order; the bytes are valid during the call.
    using PacketSink = std::function<void(std::span<const std::byte>)>;

    /// Whether these settings can be encoded as they stand: AAC at one of its sample rates, mono or
    /// stereo, at a bit rate that its packets can carry.
    static bool supports(const AudioOutputSettings& settings);

    /// `settings` must be supported.
    explicit AacEncoder(const AudioOutputSettings& settings, Part part = Part::beginning);
    ~AacEncoder();
    AacEncoder(const AacEncoder&) = delete;
    AacEncoder& operator=(const AacEncoder&) = delete;

    const AacTrack& track() const { return track_; }

    /// Takes whole frames, interleaved. What is not a number becomes silence, and what is far out
    /// of range is clipped, since either would end the encoder.
    void encode(std::span<const float> samples, const PacketSink& sink);

    /// The end of the stream: hands out the packets that are left.
    void finish(const PacketSink& sink);

private:
    struct ContextDeleter {
        void operator()(AVCodecContext* context) const;
    };
    struct FrameDeleter {
        void operator()(AVFrame* frame) const;
    };
    struct PacketDeleter {
        void operator()(AVPacket* packet) const;
    };

    void openContext(const AudioOutputSettings& settings, Part part);
    void beginFrame();
    void copyToFrame(std::span<const float> samples);
    void sendFrame(AVFrame* frame, const PacketSink& sink);

    AacTrack track_;
    std::unique_ptr<AVCodecContext, ContextDeleter> context_;
    std::unique_ptr<AVFrame, FrameDeleter> frame_;
    std::unique_ptr<AVPacket, PacketDeleter> packet_;
    std::uint32_t framesInFrame_ = 0;
    std::int64_t framesSent_ = 0;
    std::uint32_t packetsToDiscard_ = 0;
};

}  // namespace tapwell
