#include "Platform/Linux/AacSampleTable.h"

#include "Platform/Linux/AacSampleDescription.h"

#include <algorithm>

namespace tapwell {

void AacSampleTable::write(Mp4BoxWriter& out) const {
    out.box("stbl", [&] {
        AacSampleDescription(track_, index_).write(out);
        writeTimeToSample(out);
        writeSampleToChunk(out);
        writeChunkOffsets(out);
        writeSampleSizes(out);
        writeRollGroups(out);
    });
}

void AacSampleTable::writeTimeToSample(Mp4BoxWriter& out) const {
    // The last packet lasts only as long as there is content, so that the media ends where the
    // recording does.
    const std::uint64_t packetCount = index_.packetCount();
    const std::uint64_t mediaFrames = track_.primingFrames + index_.frameCount;
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

std::uint64_t AacSampleTable::packetsPerChunk() const {
    return std::max(1U, track_.sampleRate / AacTrack::kFramesPerPacket);
}

void AacSampleTable::writeSampleToChunk(Mp4BoxWriter& out) const {
    const std::uint64_t wholeChunks = index_.packetCount() / packetsPerChunk();
    const std::uint64_t rest = index_.packetCount() % packetsPerChunk();
    const auto writeRun = [&](std::uint64_t firstChunk, std::uint64_t packets) {
        out.u32(firstChunk);
        out.u32(packets);
        out.u32(1);  // sample description
    };
    out.fullBox("stsc", 0, 0, [&] {
        out.u32((wholeChunks > 0 ? 1U : 0U) + (rest > 0 ? 1U : 0U));
        if (wholeChunks > 0) writeRun(1, packetsPerChunk());
        if (rest > 0) writeRun(wholeChunks + 1, rest);
    });
}

void AacSampleTable::writeChunkOffsets(Mp4BoxWriter& out) const {
    const std::uint64_t perChunk = packetsPerChunk();
    const bool isWide = index_.payloadOffset + index_.payloadBytes > Mp4BoxWriter::kMax32;
    const auto writeOffsets = [&] {
        out.u32((index_.packetCount() + perChunk - 1) / perChunk);
        std::uint64_t offset = index_.payloadOffset;
        std::uint64_t packet = 0;
        for (const std::uint16_t size : index_.packetSizes) {
            if (packet++ % perChunk == 0) out.u32or64(isWide ? 1 : 0, offset);
            offset += size;
        }
    };
    if (isWide)
        out.fullBox("co64", 0, 0, writeOffsets);
    else
        out.fullBox("stco", 0, 0, writeOffsets);
}

void AacSampleTable::writeSampleSizes(Mp4BoxWriter& out) const {
    out.fullBox("stsz", 0, 0, [&] {
        out.u32(0);
        out.u32(index_.packetCount());
        for (const std::uint16_t size : index_.packetSizes)
            out.u32(size);
    });
}

void AacSampleTable::writeRollGroups(Mp4BoxWriter& out) const {
    if (index_.packetCount() == 0) return;
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
        out.u32(index_.packetCount());
        out.u32(1);
    });
}

}  // namespace tapwell
