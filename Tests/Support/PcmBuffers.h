#pragma once

#include "Platform/PcmBuffer.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>
#include <vector>

namespace tapwell::test {

/// An owned buffer of float channels; the spans have one length.
inline PcmBuffer floatBuffer(double rate, std::vector<std::vector<float>> channels,
                             bool interleaved) {
    const auto channelCount = static_cast<std::uint32_t>(channels.size());
    const auto frames = static_cast<std::uint32_t>(channels.front().size());
    auto buffer = *PcmBuffer::withCapacity(
        *AudioFormat::make(CommonFormat::pcmFloat32, rate, channelCount, interleaved), frames);
    for (std::uint32_t channel = 0; channel < channelCount; ++channel) {
        std::uint32_t stride = 0;
        float* out = buffer.channel<float>(channel, stride);
        for (std::uint32_t frame = 0; frame < frames; ++frame)
            out[frame * stride] = channels[channel][frame];
    }
    buffer.setFrameLength(frames);
    return buffer;
}

inline PcmBuffer monoBuffer(double rate, std::span<const float> samples) {
    return floatBuffer(rate, {{samples.begin(), samples.end()}}, false);
}

inline PcmBuffer int16Buffer(double rate, std::span<const std::int16_t> samples) {
    const auto frames = static_cast<std::uint32_t>(samples.size());
    auto buffer =
        *PcmBuffer::withCapacity(*AudioFormat::make(CommonFormat::pcmInt16, rate, 1, true), frames);
    std::memcpy(buffer.data(0), samples.data(), samples.size_bytes());
    buffer.setFrameLength(frames);
    return buffer;
}

}  // namespace tapwell::test
