#include "Platform/Linux/AacMp4Layout.h"

#include "Platform/Linux/AacMovieBox.h"

#include <numeric>

namespace tapwell {
namespace {

constexpr std::uint64_t kBoxHeaderBytes = 8;
constexpr std::uint64_t kLongBoxHeaderBytes = 16;

void writeFileType(Mp4BoxWriter& out) {
    out.box("ftyp", [&] {
        out.text("M4A ");
        out.u32(0);
        for (const char* brand : {"M4A ", "mp42", "isom", "iso5"})
            out.text(brand);
    });
}

/// The beginning of the box whose content are the packets.
void writeMediaDataHeader(Mp4BoxWriter& out, std::uint64_t payloadBytes) {
    if (payloadBytes + kBoxHeaderBytes <= Mp4BoxWriter::kMax32) {
        out.u32(payloadBytes + kBoxHeaderBytes);
        out.text("mdat");
    } else {
        out.u32(1);
        out.text("mdat");
        out.u64(payloadBytes + kLongBoxHeaderBytes);
    }
}

/// Where a fragment's packets are, how long and how many. `moofBytes`: of the box around it.
void writeTrackRun(Mp4BoxWriter& out, std::span<const std::uint16_t> packetSizes,
                   std::uint32_t lastPacketFrames, std::size_t moofBytes) {
    constexpr std::uint32_t kDataOffsetPresent = 0x000001;
    constexpr std::uint32_t kDurationPresent = 0x000100;
    constexpr std::uint32_t kSizePresent = 0x000200;
    const bool hasShortPacket = lastPacketFrames != AacTrack::kFramesPerPacket;
    const std::uint32_t flags =
        kDataOffsetPresent | kSizePresent | (hasShortPacket ? kDurationPresent : 0);
    out.fullBox("trun", 0, flags, [&] {
        out.u32(packetSizes.size());
        out.u32(moofBytes + kBoxHeaderBytes);
        for (std::size_t i = 0; i < packetSizes.size(); ++i) {
            const bool isLast = i + 1 == packetSizes.size();
            if (hasShortPacket) out.u32(isLast ? lastPacketFrames : AacTrack::kFramesPerPacket);
            out.u32(packetSizes[i]);
        }
    });
}

}  // namespace

std::vector<std::byte> AacMp4Layout::fragmentedHeader() const {
    const AacPacketSizes noPackets;
    const AacSampleIndex index{.packetSizes = noPackets};
    Mp4BoxWriter out;
    writeFileType(out);
    AacMovieBox(track_, index, AacMovieBox::Shape::fragmented).write(out);
    return out.take();
}

void AacMp4Layout::writeFragmentHeader(Mp4BoxWriter& out, std::uint32_t sequence,
                                       std::uint64_t firstPacket,
                                       std::span<const std::uint16_t> packetSizes,
                                       std::uint32_t lastPacketFrames) const {
    constexpr std::uint32_t kDefaultBaseIsMoof = 0x020000;
    const std::size_t bytesPerEntry = lastPacketFrames != AacTrack::kFramesPerPacket ? 8 : 4;
    const std::size_t moofBytes = 8 + 16 + 8 + 16 + 20 + 20 + bytesPerEntry * packetSizes.size();
    out.box("moof", [&] {
        out.fullBox("mfhd", 0, 0, [&] { out.u32(sequence); });
        out.box("traf", [&] {
            out.fullBox("tfhd", 0, kDefaultBaseIsMoof, [&] { out.u32(AacMovieBox::kTrackId); });
            out.fullBox("tfdt", 1, 0, [&] { out.u64(firstPacket * AacTrack::kFramesPerPacket); });
            writeTrackRun(out, packetSizes, lastPacketFrames, moofBytes);
        });
    });
    writeMediaDataHeader(out,
                         std::accumulate(packetSizes.begin(), packetSizes.end(), std::uint64_t{0}));
}

std::vector<std::byte> AacMp4Layout::finishedHeader(const AacPacketSizes& packetSizes,
                                                    std::uint64_t frameCount) const {
    AacSampleIndex index{
        .packetSizes = packetSizes,
        .frameCount = frameCount,
        .payloadBytes = std::accumulate(packetSizes.begin(), packetSizes.end(), std::uint64_t{0})};
    // The index names places behind itself, and its size does not depend on them except for their
    // width, which the second pass may have to enlarge.
    index.payloadOffset = headerWithIndex(index).size();
    index.payloadOffset = headerWithIndex(index).size();
    return headerWithIndex(index);
}

std::vector<std::byte> AacMp4Layout::headerWithIndex(const AacSampleIndex& index) const {
    Mp4BoxWriter out;
    writeFileType(out);
    AacMovieBox(track_, index, AacMovieBox::Shape::indexed).write(out);
    writeMediaDataHeader(out, index.payloadBytes);
    return out.take();
}

}  // namespace tapwell
