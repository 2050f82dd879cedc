#include "Platform/Linux/AacMp4Layout.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <utility>

namespace tapwell {

namespace {

constexpr std::uint32_t kTrackId = 1;
constexpr std::uint64_t kMax32 = std::numeric_limits<std::uint32_t>::max();
/// Packets of an audio track depend on no other packet.
constexpr std::uint32_t kIndependentSample = 0x02000000;
constexpr std::uint32_t kUnity16Dot16 = 0x00010000;
constexpr std::uint32_t kUndeterminedLanguage = 0x55C4;

/// Durations of 32 bits last for a day at 48 kHz.
std::uint8_t versionFor(std::uint64_t value) {
    return value > kMax32 ? 1 : 0;
}

std::string upperHex(std::uint64_t value, std::size_t digits) {
    std::string text(digits, '0');
    for (std::size_t i = digits; i-- > 0; value >>= 4)
        text[i] = "0123456789ABCDEF"[value & 0xF];
    return text;
}

void writeUnityMatrix(Mp4BoxWriter& out) {
    constexpr std::array<std::uint32_t, 9> kMatrix = {
        kUnity16Dot16, 0, 0, 0, kUnity16Dot16, 0, 0, 0, 0x40000000};
    for (const std::uint32_t value : kMatrix)
        out.u32(value);
}

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

/// What a sample table describes: nothing in a fragmented file.
struct AacMp4Layout::Index {
    const AacPacketSizes& packetSizes;
    std::uint64_t frameCount = 0;
    std::uint64_t payloadBytes = 0;
    std::uint64_t payloadOffset = 0;  ///< of the first packet in the file

    std::uint64_t packetCount() const { return packetSizes.size(); }
};

std::vector<std::byte> AacMp4Layout::fragmentedHeader() const {
    const AacPacketSizes noPackets;
    const Index index{.packetSizes = noPackets};
    Mp4BoxWriter out;
    writeFileType(out);
    out.box("moov", [&] {
        writeMovieHeader(out, 0);
        writeTrack(out, index);
        out.box("mvex", [&] {
            out.fullBox("trex", 0, 0, [&] {
                out.u32(kTrackId);
                out.u32(1);  // sample description
                out.u32(AacTrack::kFramesPerPacket);
                out.u32(0);
                out.u32(kIndependentSample);
            });
        });
        writeGaplessInformation(out, index);
    });
    return out.take();
}

void AacMp4Layout::writeFragmentHeader(Mp4BoxWriter& out, std::uint32_t sequence,
                                       std::uint64_t firstPacket,
                                       std::span<const std::uint16_t> packetSizes,
                                       std::uint32_t lastPacketFrames) const {
    constexpr std::uint32_t kDefaultBaseIsMoof = 0x020000;
    constexpr std::uint32_t kDataOffsetPresent = 0x000001;
    constexpr std::uint32_t kDurationPresent = 0x000100;
    constexpr std::uint32_t kSizePresent = 0x000200;
    constexpr std::uint32_t kMdatHeaderBytes = 8;

    const bool hasShortPacket = lastPacketFrames != AacTrack::kFramesPerPacket;
    const std::size_t bytesPerEntry = hasShortPacket ? 8 : 4;
    const std::size_t moofBytes = 8 + 16 + 8 + 16 + 20 + 20 + bytesPerEntry * packetSizes.size();
    std::uint64_t payloadBytes = 0;
    out.box("moof", [&] {
        out.fullBox("mfhd", 0, 0, [&] { out.u32(sequence); });
        out.box("traf", [&] {
            out.fullBox("tfhd", 0, kDefaultBaseIsMoof, [&] { out.u32(kTrackId); });
            out.fullBox("tfdt", 1, 0, [&] { out.u64(firstPacket * AacTrack::kFramesPerPacket); });
            const std::uint32_t flags =
                kDataOffsetPresent | kSizePresent | (hasShortPacket ? kDurationPresent : 0);
            out.fullBox("trun", 0, flags, [&] {
                out.u32(packetSizes.size());
                out.u32(moofBytes + kMdatHeaderBytes);
                for (std::size_t i = 0; i < packetSizes.size(); ++i) {
                    const bool isLast = i + 1 == packetSizes.size();
                    if (hasShortPacket)
                        out.u32(isLast ? lastPacketFrames : AacTrack::kFramesPerPacket);
                    out.u32(packetSizes[i]);
                    payloadBytes += packetSizes[i];
                }
            });
        });
    });
    out.u32(payloadBytes + kMdatHeaderBytes);
    out.text("mdat");
}

std::vector<std::byte> AacMp4Layout::finishedHeader(const AacPacketSizes& packetSizes,
                                                    std::uint64_t frameCount) const {
    Index index{.packetSizes = packetSizes, .frameCount = frameCount};
    for (const std::uint16_t size : packetSizes)
        index.payloadBytes += size;
    // The index names places behind itself, and its size does not depend on them except for their
    // width, which the second pass may have to enlarge.
    index.payloadOffset = headerWithIndex(index).size();
    index.payloadOffset = headerWithIndex(index).size();
    return headerWithIndex(index);
}

std::vector<std::byte> AacMp4Layout::headerWithIndex(const Index& index) const {
    constexpr std::uint64_t kShortHeaderBytes = 8;
    constexpr std::uint64_t kLongHeaderBytes = 16;
    Mp4BoxWriter out;
    writeFileType(out);
    out.box("moov", [&] {
        writeMovieHeader(out, index.frameCount);
        writeTrack(out, index);
        writeGaplessInformation(out, index);
    });
    if (index.payloadBytes + kShortHeaderBytes <= kMax32) {
        out.u32(index.payloadBytes + kShortHeaderBytes);
        out.text("mdat");
    } else {
        out.u32(1);
        out.text("mdat");
        out.u64(index.payloadBytes + kLongHeaderBytes);
    }
    return out.take();
}

void AacMp4Layout::writeFileType(Mp4BoxWriter& out) const {
    out.box("ftyp", [&] {
        out.text("M4A ");
        out.u32(0);
        for (const char* brand : {"M4A ", "mp42", "isom", "iso5"})
            out.text(brand);
    });
}

void AacMp4Layout::writeMovieHeader(Mp4BoxWriter& out, std::uint64_t durationFrames) const {
    const std::uint8_t version = versionFor(durationFrames);
    out.fullBox("mvhd", version, 0, [&] {
        out.u32or64(version, 0);  // creation time: not told
        out.u32or64(version, 0);
        out.u32(track_.sampleRate);
        out.u32or64(version, durationFrames);
        out.u32(kUnity16Dot16);  // rate
        out.u16(0x0100);         // volume
        out.zeros(10);
        writeUnityMatrix(out);
        out.zeros(24);
        out.u32(kTrackId + 1);
    });
}

void AacMp4Layout::writeTrack(Mp4BoxWriter& out, const Index& index) const {
    const std::uint64_t mediaFrames =
        index.packetCount() == 0 ? 0 : track_.primingFrames + index.frameCount;
    out.box("trak", [&] {
        writeTrackHeader(out, index.frameCount);
        writeEditList(out, index.frameCount);
        out.box("mdia", [&] {
            writeMediaHeader(out, mediaFrames);
            out.fullBox("hdlr", 0, 0, [&] {
                out.u32(0);
                out.text("soun");
                out.zeros(12);
                out.text(std::string_view("SoundHandler\0", 13));
            });
            out.box("minf", [&] {
                out.fullBox("smhd", 0, 0, [&] { out.u32(0); });
                out.box("dinf", [&] {
                    out.fullBox("dref", 0, 0, [&] {
                        out.u32(1);
                        out.fullBox("url ", 0, 1, [] {});  // the data is in this file
                    });
                });
                writeSampleTable(out, index);
            });
        });
    });
}

void AacMp4Layout::writeTrackHeader(Mp4BoxWriter& out, std::uint64_t durationFrames) const {
    constexpr std::uint32_t kEnabledInMovieInPreview = 7;
    const std::uint8_t version = versionFor(durationFrames);
    out.fullBox("tkhd", version, kEnabledInMovieInPreview, [&] {
        out.u32or64(version, 0);
        out.u32or64(version, 0);
        out.u32(kTrackId);
        out.u32(0);
        out.u32or64(version, durationFrames);
        out.zeros(8);
        out.u16(0);       // layer
        out.u16(0);       // alternate group
        out.u16(0x0100);  // volume
        out.u16(0);
        writeUnityMatrix(out);
        out.u32(0);
        out.u32(0);
    });
}

void AacMp4Layout::writeEditList(Mp4BoxWriter& out, std::uint64_t durationFrames) const {
    const std::uint8_t version = versionFor(durationFrames);
    out.box("edts", [&] {
        out.fullBox("elst", version, 0, [&] {
            out.u32(1);
            out.u32or64(version, durationFrames);  // 0 in a fragmented file: all there is
            out.u32or64(version, track_.primingFrames);
            out.u32(kUnity16Dot16);
        });
    });
}

void AacMp4Layout::writeMediaHeader(Mp4BoxWriter& out, std::uint64_t durationFrames) const {
    const std::uint8_t version = versionFor(durationFrames);
    out.fullBox("mdhd", version, 0, [&] {
        out.u32or64(version, 0);
        out.u32or64(version, 0);
        out.u32(track_.sampleRate);
        out.u32or64(version, durationFrames);
        out.u16(kUndeterminedLanguage);
        out.u16(0);
    });
}

void AacMp4Layout::writeSampleTable(Mp4BoxWriter& out, const Index& index) const {
    out.box("stbl", [&] {
        writeSampleDescription(out, index);
        writeTimeToSample(out, index);
        writeChunks(out, index);
        writeSampleSizes(out, index);
        writeRollGroups(out, index);
    });
}

void AacMp4Layout::writeSampleDescription(Mp4BoxWriter& out, const Index& index) const {
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
            out.fullBox("esds", 0, 0, [&] { writeDecoderDescription(out, index); });
        });
    });
}

void AacMp4Layout::writeDecoderDescription(Mp4BoxWriter& out, const Index& index) const {
    constexpr std::uint8_t kMpeg4Audio = 0x40;
    constexpr std::uint8_t kAudioStream = 0x15;
    constexpr std::uint32_t kMaxPacketBytesPerChannel = 768;
    const std::uint64_t mediaFrames = index.packetCount() * AacTrack::kFramesPerPacket;
    const std::uint64_t averageBitRate =
        mediaFrames == 0 ? track_.bitRate
                         : index.payloadBytes * 8 * track_.sampleRate / mediaFrames;
    writeDescriptor(out, 3, [&](Mp4BoxWriter& stream) {
        stream.u16(0);
        stream.u8(0);
        writeDescriptor(stream, 4, [&](Mp4BoxWriter& config) {
            config.u8(kMpeg4Audio);
            config.u8(kAudioStream);
            config.u24(kMaxPacketBytesPerChannel * track_.channelCount);
            config.u32(std::max<std::uint64_t>(track_.bitRate, averageBitRate));
            config.u32(averageBitRate);
            writeDescriptor(config, 5, [&](Mp4BoxWriter& specific) {
                specific.append(track_.audioSpecificConfig);
            });
        });
        writeDescriptor(stream, 6, [](Mp4BoxWriter& sync) { sync.u8(2); });
    });
}

void AacMp4Layout::writeTimeToSample(Mp4BoxWriter& out, const Index& index) const {
    // The last packet lasts only as long as there is content, so that the media ends where the
    // recording does.
    const std::uint64_t packetCount = index.packetCount();
    const std::uint64_t mediaFrames = track_.primingFrames + index.frameCount;
    out.fullBox("stts", 0, 0, [&] {
        if (packetCount == 0) {
            out.u32(0);
            return;
        }
        const std::uint64_t lastPacketFrames =
            mediaFrames - (packetCount - 1) * AacTrack::kFramesPerPacket;
        out.u32(packetCount > 1 ? 2 : 1);
        if (packetCount > 1) {
            out.u32(packetCount - 1);
            out.u32(AacTrack::kFramesPerPacket);
        }
        out.u32(1);
        out.u32(lastPacketFrames);
    });
}

std::uint32_t AacMp4Layout::packetsPerChunk() const {
    return std::max(1U, track_.sampleRate / AacTrack::kFramesPerPacket);
}

void AacMp4Layout::writeChunks(Mp4BoxWriter& out, const Index& index) const {
    const std::uint64_t perChunk = packetsPerChunk();
    const std::uint64_t wholeChunks = index.packetCount() / perChunk;
    const std::uint64_t rest = index.packetCount() % perChunk;
    const auto writeRun = [&](std::uint64_t firstChunk, std::uint64_t packets) {
        out.u32(firstChunk);
        out.u32(packets);
        out.u32(1);  // sample description
    };
    out.fullBox("stsc", 0, 0, [&] {
        out.u32((wholeChunks > 0 ? 1U : 0U) + (rest > 0 ? 1U : 0U));
        if (wholeChunks > 0) writeRun(1, perChunk);
        if (rest > 0) writeRun(wholeChunks + 1, rest);
    });

    const bool isWide = index.payloadOffset + index.payloadBytes > kMax32;
    const auto writeOffsets = [&] {
        out.u32(wholeChunks + (rest > 0 ? 1 : 0));
        std::uint64_t offset = index.payloadOffset;
        std::uint64_t packet = 0;
        for (const std::uint16_t size : index.packetSizes) {
            if (packet++ % perChunk == 0) out.u32or64(isWide ? 1 : 0, offset);
            offset += size;
        }
    };
    if (isWide)
        out.fullBox("co64", 0, 0, writeOffsets);
    else
        out.fullBox("stco", 0, 0, writeOffsets);
}

void AacMp4Layout::writeSampleSizes(Mp4BoxWriter& out, const Index& index) const {
    out.fullBox("stsz", 0, 0, [&] {
        out.u32(0);
        out.u32(index.packetCount());
        for (const std::uint16_t size : index.packetSizes)
            out.u32(size);
    });
}

void AacMp4Layout::writeRollGroups(Mp4BoxWriter& out, const Index& index) const {
    if (index.packetCount() == 0) return;
    // A packet decodes right when the one before it was decoded too.
    constexpr std::uint32_t kRollDistanceMinusOne = 0xFFFF;
    out.fullBox("sgpd", 1, 0, [&] {
        out.text("roll");
        out.u32(2);
        out.u32(1);
        out.u16(kRollDistanceMinusOne);
    });
    out.fullBox("sbgp", 0, 0, [&] {
        out.text("roll");
        out.u32(1);
        out.u32(index.packetCount());
        out.u32(1);
    });
}

/// The same as the edit list in the form that iTunes introduced. FFmpeg's reader heeds the edit
/// list of an indexed file, but of a fragmented one only this.
void AacMp4Layout::writeGaplessInformation(Mp4BoxWriter& out, const Index& index) const {
    const std::uint64_t decodedFrames = index.packetCount() * AacTrack::kFramesPerPacket;
    const std::uint64_t paddingFrames =
        decodedFrames == 0 ? 0 : decodedFrames - track_.primingFrames - index.frameCount;
    std::string value = " 00000000";
    for (const auto& [number, digits] :
         {std::pair<std::uint64_t, std::size_t>{track_.primingFrames, 8},
          {paddingFrames, 8},
          {index.frameCount, 16}})
        value.append(" ").append(upperHex(number, digits));
    for (int i = 0; i < 8; ++i)
        value += " 00000000";

    constexpr std::uint32_t kUtf8 = 1;
    out.box("udta", [&] {
        out.fullBox("meta", 0, 0, [&] {
            out.fullBox("hdlr", 0, 0, [&] {
                out.u32(0);
                out.text("mdirappl");
                out.zeros(9);
            });
            out.box("ilst", [&] {
                out.box("----", [&] {
                    out.fullBox("mean", 0, 0, [&] { out.text("com.apple.iTunes"); });
                    out.fullBox("name", 0, 0, [&] { out.text("iTunSMPB"); });
                    out.fullBox("data", 0, kUtf8, [&] {
                        out.u32(0);  // locale
                        out.text(value);
                    });
                });
            });
        });
    });
}

}  // namespace tapwell
