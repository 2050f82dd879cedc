#include "Tapwell/Outputs/Pcm16.h"

#include "RecorderMixBus/Precondition.h"

#include <cmath>

namespace tapwell {

std::int16_t Pcm16::fromFloat(float sample) {
    precondition(!std::isnan(sample), "sample is not a number");
    const float limited = sample >= 1.0F ? 1.0F : (sample <= -1.0F ? -1.0F : sample);
    return static_cast<std::int16_t>(limited * 32767.0F);
}

std::vector<std::byte> Pcm16::littleEndianBytes(std::span<const float> samples) {
    std::vector<std::byte> bytes(samples.size() * 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto value = static_cast<std::uint16_t>(fromFloat(samples[i]));
        bytes[2 * i] = static_cast<std::byte>(value & 0xFFU);
        bytes[2 * i + 1] = static_cast<std::byte>(value >> 8U);
    }
    return bytes;
}

}  // namespace tapwell
