#pragma once

#include "Platform/AudioOutputSettings.h"
#include "Platform/Linux/AacEncoder.h"
#include "Platform/Linux/AacSegmentWorkers.h"
#include "Platform/Linux/EncodingResources.h"
#include "Platform/Linux/ProducerPace.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tapwell {

/// Encodes one stream of 32-bit float PCM to AAC-LC packets: as it comes, with one encoder, while
/// it comes in real time, and on all cores when it comes faster.
///
/// The stream is looked at in segments of a fixed number of packets. Once everything so far came
/// faster than real time, each segment gets an encoder of its own, so that the packets are the same
/// however many cores encode them. Samples of a segment are collected for the workers while the
/// producer keeps them coming, and encoded within `encode` otherwise.
///
/// Failures throw RecorderError of domain "FFmpeg", a later call than that of their samples if need
/// be; only destruction may follow. Packets are handed out on the caller's thread. One thread at a
/// time.
class ParallelAacEncoder {
public:
    using PacketSink = AacEncoder::PacketSink;

    static constexpr std::uint32_t kPacketsPerSegment = 256;
    static constexpr std::uint32_t kFramesPerSegment =
        kPacketsPerSegment * AacTrack::kFramesPerPacket;
    /// How long, in seconds of waiting for the producer, samples may be collected.
    static constexpr double kLongestWait = 0.25;

    enum class Producer { realTime, unknown };

    /// A `producer` known to be in real time gets one encoder in any case. `settings` must be
    /// supported.
    ParallelAacEncoder(const AudioOutputSettings& settings, const EncodingResources& resources,
                       Producer producer);

    const AacTrack& track() const { return track_; }

    /// Takes whole frames, interleaved.
    void encode(std::span<const float> samples, const PacketSink& sink);
    /// The end of the stream: hands out the packets that are left.
    void finish(const PacketSink& sink);

    /// Frames taken that no encoder has seen the end of.
    std::size_t framesHeld() const;

private:
    void take(std::span<const float> samples, const PacketSink& sink);
    void keepLeadIn(std::span<const float> samples);
    void crossBorder(const PacketSink& sink);
    bool mayCollect();
    void encodeDirectly(const PacketSink& sink);

    const AudioOutputSettings settings_;
    const unsigned encoderCount_;
    const Producer producer_;
    ProducerPace pace_;
    std::unique_ptr<AacEncoder> direct_;  ///< null while a segment is collected
    AacTrack track_;
    std::unique_ptr<AacSegmentWorkers> workers_;  ///< null until they are needed
    /// The segment so far, with its lead-in; only the next segment's lead-in when `direct_` has
    /// encoded it.
    std::vector<float> collected_;
    std::uint64_t frameCount_ = 0;
    /// Of the segment under way. Its last packet needs one packet's frames more.
    std::uint32_t framesLeft_ = kFramesPerSegment + AacTrack::kFramesPerPacket;
    bool isSegmented_ = false;
};

}  // namespace tapwell
