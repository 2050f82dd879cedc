#include "Tapwell/MixBus/MonoSamples.h"

#include "Platform/RecorderError.h"
#include "RecorderMixBus/MixMath.h"

#include <cstddef>
#include <cstdint>

namespace tapwell {
namespace {

constexpr int kErrorCode = 10;
constexpr float kInt16Scale = 1.0F / 32768.0F;

}  // namespace

std::vector<float> monoSamples(const PcmBuffer& buffer) {
    const AudioFormat& format = buffer.format();
    const std::size_t frames = buffer.frameLength();
    std::uint32_t stride = 0;
    if (format.channelCount() == 1 && format.commonFormat() == CommonFormat::pcmInt16) {
        const auto* in = buffer.channel<std::int16_t>(0, stride);
        std::vector<float> out(frames);
        for (std::size_t i = 0; i < frames; ++i)
            out[i] = static_cast<float>(in[i]) * kInt16Scale;
        return out;
    }
    if (format.channelCount() == 1 && format.commonFormat() == CommonFormat::pcmFloat32) {
        const auto* in = buffer.channel<float>(0, stride);
        return {in, in + frames};
    }
    if (format.channelCount() == 2 && format.commonFormat() == CommonFormat::pcmFloat32) {
        const auto* left = buffer.channel<float>(0, stride);
        const auto* right = buffer.channel<float>(1, stride);
        if (format.isInterleaved())
            return MixMath::downmixInterleavedStereoToMono({left, 2 * frames});
        std::vector<float> out(frames);
        for (std::size_t i = 0; i < frames; ++i)
            out[i] = (left[i] + right[i]) * 0.5F;
        return out;
    }
    throw RecorderError(kErrorCode, "Unsupported channel layout for fast path");
}

void writeToAllChannels(std::span<const float> mono, PcmBuffer& buffer) {
    const bool isFloat = buffer.format().commonFormat() == CommonFormat::pcmFloat32;
    for (std::uint32_t channel = 0; channel < buffer.format().channelCount(); ++channel) {
        std::uint32_t stride = 0;
        if (isFloat) {
            float* out = buffer.channel<float>(channel, stride);
            for (std::size_t i = 0; i < mono.size(); ++i)
                out[i * stride] = mono[i];
        } else {
            auto* out = buffer.channel<std::int16_t>(channel, stride);
            for (std::size_t i = 0; i < mono.size(); ++i)
                out[i * stride] = static_cast<std::int16_t>(mono[i] / kInt16Scale);
        }
    }
    buffer.setFrameLength(static_cast<std::uint32_t>(mono.size()));
}

}  // namespace tapwell
