// Indexes of recordings that are too long to be made in a test.
#include "Platform/Linux/AacMp4Layout.h"
#include "Support/Mp4Boxes.h"

#include <gtest/gtest.h>

namespace tapwell::test {
namespace {

AacMp4Layout makeLayout() {
    return AacMp4Layout({.sampleRate = 48000,
                         .channelCount = 1,
                         .bitRate = 96000,
                         .primingFrames = 1024,
                         .audioSpecificConfig = {std::byte{0x11}, std::byte{0x88}}});
}

/// Reads a header that ends within a box of packets: that box becomes an empty one.
Mp4Box readHeader(std::vector<std::byte> header, std::size_t mdatHeaderBytes) {
    header.resize(header.size() - mdatHeaderBytes);
    return readMp4Boxes(header);
}

TEST(AacMp4Layout, PutsTheFirstPacketRightBehindTheHeader) {
    const AacPacketSizes sizes(1000, 256);
    const std::vector<std::byte> header = makeLayout().finishedHeader(sizes, 999 * 1024);
    const Mp4Box file = readHeader(header, 8);
    EXPECT_EQ(file.at("moov/trak/mdia/minf/stbl/stco").u32(8), header.size());
}

TEST(AacMp4Layout, UsesWideOffsetsBeyondFourGigabytes) {
    constexpr std::uint16_t kPacketBytes = 65535;
    constexpr std::size_t kPackets = 70000;
    const AacPacketSizes sizes(kPackets, kPacketBytes);
    const std::vector<std::byte> header = makeLayout().finishedHeader(sizes, (kPackets - 1) * 1024);
    const Mp4Box file = readHeader(header, 16);
    const Mp4Box& offsets = file.at("moov/trak/mdia/minf/stbl/co64");
    EXPECT_EQ(offsets.u64(8), header.size());
    const std::uint32_t chunks = offsets.u32(4);
    const std::uint64_t packetsBeforeLastChunk = (chunks - 1) * std::uint64_t{46};
    EXPECT_EQ(offsets.u64(8 + 8 * (chunks - 1)),
              header.size() + packetsBeforeLastChunk * kPacketBytes);

    Mp4Box wideHeader;
    wideHeader.content.assign(header.end() - 16, header.end());
    EXPECT_EQ(wideHeader.u32(0), 1U);
    EXPECT_EQ(wideHeader.text(4, 4), "mdat");
    EXPECT_EQ(wideHeader.u64(8), 16 + std::uint64_t{kPackets} * kPacketBytes);
}

TEST(AacMp4Layout, UsesWideDurationsBeyondADay) {
    constexpr std::size_t kPackets = 4'300'000;
    constexpr std::uint64_t kFrames = (kPackets - 1) * 1024ULL - 500;
    const AacPacketSizes sizes(kPackets, 1);
    const Mp4Box file = readHeader(makeLayout().finishedHeader(sizes, kFrames), 8);
    EXPECT_EQ(file.at("moov/mvhd").version(), 1);
    EXPECT_EQ(file.at("moov/mvhd").u64(24), kFrames);
    EXPECT_EQ(file.at("moov/trak/tkhd").u64(28), kFrames);
    EXPECT_EQ(file.at("moov/trak/edts/elst").u64(8), kFrames);
    EXPECT_EQ(file.at("moov/trak/edts/elst").u64(16), 1024U);
    EXPECT_EQ(file.at("moov/trak/mdia/mdhd").u64(24), kFrames + 1024);
}

}  // namespace
}  // namespace tapwell::test
