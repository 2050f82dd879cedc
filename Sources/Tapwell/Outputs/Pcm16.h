#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tapwell {

/// 16-bit samples from 32-bit float ones: limited to [-1, 1], times 32767, cut off toward zero, so
/// that full scale is ±32767. A NaN ends the process.
struct Pcm16 {
    static std::int16_t fromFloat(float sample);

    /// The bytes of the samples in order, little-endian.
    static std::vector<std::byte> littleEndianBytes(std::span<const float> samples);
};

}  // namespace tapwell
