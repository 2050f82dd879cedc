#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tapwell {

/// What a file must know of an AAC stream. Packet 0 and the frames before `primingFrames` in the
/// decoded stream are the encoder's start-up; the first frame appended comes right after them.
struct AacTrack {
    /// Frames that every packet decodes to (AAC-LC).
    static constexpr std::uint32_t kFramesPerPacket = 1024;

    std::uint32_t sampleRate = 0;  ///< Hz
    std::uint16_t channelCount = 0;
    std::uint32_t bitRate = 0;        ///< bits a second
    std::uint32_t primingFrames = 0;  ///< a whole number of packets
    std::vector<std::byte> audioSpecificConfig;
};

}  // namespace tapwell
