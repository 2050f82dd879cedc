#pragma once

#include "Platform/Linux/AacSampleIndex.h"
#include "Platform/Linux/AacTrack.h"
#include "Platform/Linux/Mp4BoxWriter.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tapwell {

/// The boxes around the packets of one AAC track, in the two shapes that a recording takes
/// (ISO/IEC 14496-12 and -14): fragments while it grows, one index in front when it is done. Movie
/// and media time both count frames at the sample rate, so every length is exact.
class AacMp4Layout {
public:
    explicit AacMp4Layout(AacTrack track) : track_(std::move(track)) {}

    const AacTrack& track() const { return track_; }

    /// What a fragmented file begins with. Its edit list says where the content begins.
    std::vector<std::byte> fragmentedHeader() const;

    /// Appends what goes before the packets of one fragment. `sequence` counts from 1,
    /// `firstPacket` from 0; the last packet lasts `lastPacketFrames`, the others a whole packet.
    void writeFragmentHeader(Mp4BoxWriter& out, std::uint32_t sequence, std::uint64_t firstPacket,
                             std::span<const std::uint16_t> packetSizes,
                             std::uint32_t lastPacketFrames) const;

    /// What the finished file begins with, up to the first packet; all packets follow without a
    /// gap. `frameCount` is the number of frames appended, which the edit list, the track and the
    /// movie declare; the media also has the priming.
    std::vector<std::byte> finishedHeader(const AacPacketSizes& packetSizes,
                                          std::uint64_t frameCount) const;

private:
    std::vector<std::byte> headerWithIndex(const AacSampleIndex& index) const;

    AacTrack track_;
};

}  // namespace tapwell
