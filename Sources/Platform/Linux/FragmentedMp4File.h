#pragma once

#include "Platform/Linux/AacMp4Layout.h"
#include "Platform/Linux/RecordingFile.h"

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace tapwell {

/// Writes AAC packets into a recording's file as a fragmented MPEG-4 file that is playable after
/// every write, whole or not. Remembers two bytes a packet, for the index of the finished file.
/// Failures throw RecorderError and leave the file as it was before the fragment. One thread at a
/// time.
class FragmentedMp4File {
public:
    /// Writes the file's beginning. `file` must outlive this object.
    FragmentedMp4File(RecordingFile& file, AacTrack track);

    /// Takes the next packet and writes a fragment when one is full.
    void append(std::span<const std::byte> packet);

    /// Says where the recording ends, before its last packets come: they are described as no longer
    /// than that.
    void setFrameCount(std::uint64_t frameCount);
    /// Writes what is left.
    void finish();

    const AacMp4Layout& layout() const { return layout_; }
    const AacPacketSizes& packetSizes() const { return packetSizes_; }
    /// Where the first fragment begins.
    std::uint64_t headerBytes() const { return headerBytes_; }

    /// Packets of a fragment once the file is under way.
    static std::uint32_t packetsPerFragment(std::uint32_t sampleRate);

private:
    void writeFragment();
    std::uint32_t lastPendingPacketFrames() const;

    RecordingFile& file_;
    AacMp4Layout layout_;
    AacPacketSizes packetSizes_;  ///< of the packets in the file
    std::uint64_t headerBytes_ = 0;
    std::uint32_t fragmentCount_ = 0;
    std::uint64_t mediaFrames_ = std::numeric_limits<std::uint64_t>::max();
    Mp4BoxWriter fragment_;
    std::vector<std::byte> pendingPayload_;
    std::vector<std::uint16_t> pendingSizes_;
};

}  // namespace tapwell
