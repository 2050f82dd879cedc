#include "Platform/Resampling/ChannelAverage.h"

#include <cmath>
#include <cstdint>

namespace tapwell {
namespace {

float toFloat(float sample) {
    return std::isfinite(sample) ? sample : 0.0f;
}
float toFloat(std::int16_t sample) {
    return static_cast<float>(sample) * (1.0f / 32768.0f);
}

template <typename Sample>
void addChannel(const PcmBuffer& buffer, std::uint32_t channel, float* sums) {
    std::uint32_t stride = 0;
    const Sample* const samples = buffer.channel<Sample>(channel, stride);
    for (std::size_t frame = 0; frame < buffer.frameLength(); ++frame)
        sums[frame] += toFloat(samples[frame * stride]);
}

}  // namespace

bool canAverageChannels(const AudioFormat& format) {
    return format.commonFormat() == CommonFormat::pcmFloat32 ||
           format.commonFormat() == CommonFormat::pcmInt16;
}

void appendChannelAverage(const PcmBuffer& buffer, std::vector<float>& mono) {
    const std::size_t begin = mono.size();
    mono.resize(begin + buffer.frameLength(), 0.0f);
    float* const sums = mono.data() + begin;
    const std::uint32_t channels = buffer.format().channelCount();
    const bool isFloat = buffer.format().commonFormat() == CommonFormat::pcmFloat32;
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        if (isFloat)
            addChannel<float>(buffer, channel, sums);
        else
            addChannel<std::int16_t>(buffer, channel, sums);
    }
    if (channels == 1) return;
    for (std::size_t frame = 0; frame < buffer.frameLength(); ++frame)
        sums[frame] /= static_cast<float>(channels);
}

}  // namespace tapwell
