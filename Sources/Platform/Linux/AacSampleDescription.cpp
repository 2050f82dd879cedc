#include "Platform/Linux/AacSampleDescription.h"

#include <algorithm>

namespace tapwell {
namespace {

/// An MPEG-4 descriptor: tag, size, body.
template <typename Body>
void writeDescriptor(Mp4BoxWriter& out, std::uint8_t tag, Body&& body) {
    Mp4BoxWriter content;
    body(content);
    out.u8(tag);
    out.u8(static_cast<std::uint8_t>(content.size()));  // all of ours are shorter than 128 bytes
    out.append(content.bytes());
}

}  // namespace

void AacSampleDescription::write(Mp4BoxWriter& out) const {
    out.fullBox("stsd", 0, 0, [&] {
        out.u32(1);
        out.box("mp4a", [&] {
            out.zeros(6);
            out.u16(1);  // data reference
            out.zeros(8);
            out.u16(track_.channelCount);
            out.u16(16);
            out.u32(0);
            // 16.16 cannot hold the highest rates; readers take them from the decoder's own data.
            out.u32(track_.sampleRate <= 0xFFFF ? track_.sampleRate << 16 : 0);
            out.fullBox("esds", 0, 0, [&] { writeElementaryStream(out); });
        });
    });
}

void AacSampleDescription::writeElementaryStream(Mp4BoxWriter& out) const {
    writeDescriptor(out, 3, [&](Mp4BoxWriter& stream) {
        stream.u16(0);
        stream.u8(0);
        writeDescriptor(stream, 4,
                        [&](Mp4BoxWriter& decoder) { writeDecoderConfiguration(decoder); });
        writeDescriptor(stream, 6, [](Mp4BoxWriter& sync) { sync.u8(2); });
    });
}

void AacSampleDescription::writeDecoderConfiguration(Mp4BoxWriter& out) const {
    constexpr std::uint8_t kMpeg4Audio = 0x40;
    constexpr std::uint8_t kAudioStream = 0x15;
    constexpr std::uint32_t kMaxPacketBytesPerChannel = 768;
    out.u8(kMpeg4Audio);
    out.u8(kAudioStream);
    out.u24(kMaxPacketBytesPerChannel * track_.channelCount);
    out.u32(std::max<std::uint64_t>(track_.bitRate, averageBitRate()));
    out.u32(averageBitRate());
    writeDescriptor(out, 5,
                    [&](Mp4BoxWriter& specific) { specific.append(track_.audioSpecificConfig); });
}

/// The one aimed at while the packets are not known.
std::uint64_t AacSampleDescription::averageBitRate() const {
    const std::uint64_t frames = index_.decodedFrames();
    return frames == 0 ? track_.bitRate : index_.payloadBytes * 8 * track_.sampleRate / frames;
}

}  // namespace tapwell
