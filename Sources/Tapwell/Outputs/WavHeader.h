#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tapwell {

inline constexpr std::size_t kWavHeaderBytes = 44;

/// All that the 32-bit sizes of a header can say, in frames of mono 16-bit PCM.
inline constexpr std::int64_t kMaximumWavFrames =
    (0xFFFFFFFFLL - static_cast<std::int64_t>(kWavHeaderBytes - 8)) / 2;

/// The header of a RIFF/WAVE file with one chunk of mono 16-bit integer PCM. Ends the process for a
/// rate in Hz that does not fit a signed 32-bit integer, or for so much data that the file's size
/// does not fit its 32-bit field.
std::array<std::byte, kWavHeaderBytes> monoPcm16WavHeader(std::uint32_t sampleRate,
                                                          std::uint32_t dataByteCount);

}  // namespace tapwell
