#include "Platform/MonoPcm.h"

#include <algorithm>
#include <limits>

namespace tapwell {

std::optional<PcmBuffer> monoFloatBuffer(std::span<const float> samples, double sampleRate) {
    if (samples.empty() || samples.size() > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    const auto format = AudioFormat::make(CommonFormat::pcmFloat32, sampleRate, 1, false);
    if (!format) return std::nullopt;
    const auto frames = static_cast<std::uint32_t>(samples.size());
    auto buffer = PcmBuffer::withCapacity(*format, frames);
    if (!buffer) return std::nullopt;
    std::uint32_t stride = 1;
    std::copy(samples.begin(), samples.end(), buffer->channel<float>(0, stride));
    buffer->setFrameLength(frames);
    return buffer;
}

std::span<const float> monoFloatSamples(const PcmBuffer& buffer) {
    std::uint32_t stride = 1;
    return {buffer.channel<float>(0, stride), buffer.frameLength()};
}

}  // namespace tapwell
