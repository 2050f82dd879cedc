#pragma once

#include "Platform/FourCharCode.h"

#include <cstdint>

namespace tapwell {

inline constexpr std::uint32_t kAudioFormatLinearPCM = fourCharCode("lpcm");
inline constexpr std::uint32_t kAudioFormatMPEG4AAC = fourCharCode("aac ");

inline constexpr std::uint32_t kAudioFormatFlagIsFloat = 1;
inline constexpr std::uint32_t kAudioFormatFlagIsBigEndian = 2;
inline constexpr std::uint32_t kAudioFormatFlagIsSignedInteger = 4;
inline constexpr std::uint32_t kAudioFormatFlagIsPacked = 8;
inline constexpr std::uint32_t kAudioFormatFlagIsNonInterleaved = 32;

/// Describes one audio stream. For non-interleaved PCM, bytesPerFrame and bytesPerPacket are those
/// of one channel, since every channel has a buffer of its own.
struct AudioStreamBasicDescription {
    double sampleRate = 0;  ///< Hz
    std::uint32_t formatID = 0;
    std::uint32_t formatFlags = 0;
    std::uint32_t bytesPerPacket = 0;
    std::uint32_t framesPerPacket = 0;
    std::uint32_t bytesPerFrame = 0;
    std::uint32_t channelsPerFrame = 0;
    std::uint32_t bitsPerChannel = 0;
    std::uint32_t reserved = 0;

    friend bool operator==(const AudioStreamBasicDescription&,
                           const AudioStreamBasicDescription&) = default;
};

static_assert(sizeof(AudioStreamBasicDescription) == 40,
              "property data of this type travels as 40 bytes");

}  // namespace tapwell
