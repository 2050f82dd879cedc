#pragma once

#include "Platform/Linux/AacTrack.h"

#include <cstdint>
#include <deque>

namespace tapwell {

/// Bytes of each packet of a recording, in order. AAC-LC packets have at most 768 a channel.
using AacPacketSizes = std::deque<std::uint16_t>;

/// What the boxes of an indexed file tell of its packets. Without packets it is that of a
/// fragmented file, whose fragments tell of theirs.
struct AacSampleIndex {
    const AacPacketSizes& packetSizes;
    std::uint64_t frameCount = 0;  ///< of the recording
    std::uint64_t payloadBytes = 0;
    std::uint64_t payloadOffset = 0;  ///< of the first packet in the file

    std::uint64_t packetCount() const { return packetSizes.size(); }
    /// What the packets decode to, with priming and padding.
    std::uint64_t decodedFrames() const { return packetCount() * AacTrack::kFramesPerPacket; }
};

}  // namespace tapwell
