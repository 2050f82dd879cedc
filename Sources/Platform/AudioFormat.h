#pragma once

#include "Platform/AudioStreamBasicDescription.h"

#include <cstdint>
#include <optional>

namespace tapwell {

/// Sample formats that this system names. The numbers are the ones printed in log lines.
enum class CommonFormat : std::uint32_t {
    other = 0,
    pcmFloat32 = 1,
    pcmFloat64 = 2,
    pcmInt16 = 3,
    pcmInt32 = 4,
};

/// A linear PCM stream format. A value type, immutable; any thread.
class AudioFormat {
public:
    /// The format for a stream description. Absent when the description is no usable linear PCM:
    /// another format id, a rate that is not finite and positive, no channels, or sizes that
    /// contradict each other.
    static std::optional<AudioFormat> fromStreamDescription(
        const AudioStreamBasicDescription& description);

    /// A packed native-endian format. Absent for `CommonFormat::other`, a rate that is not finite
    /// and positive, or no channels. `sampleRate` in Hz.
    static std::optional<AudioFormat> make(CommonFormat commonFormat, double sampleRate,
                                           std::uint32_t channelCount, bool interleaved);

    /// The same sample layout at another rate in Hz. Absent when the rate is not usable.
    std::optional<AudioFormat> withSampleRate(double sampleRate) const;

    const AudioStreamBasicDescription& streamDescription() const { return description_; }
    double sampleRate() const { return description_.sampleRate; }
    std::uint32_t channelCount() const { return description_.channelsPerFrame; }
    bool isInterleaved() const {
        return (description_.formatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
    }
    CommonFormat commonFormat() const;

    /// Blocks in a buffer list of this format: 1 when interleaved, else one a channel.
    std::uint32_t bufferCount() const { return isInterleaved() ? 1 : channelCount(); }
    /// Bytes of one frame within one block.
    std::uint32_t bytesPerFrame() const { return description_.bytesPerFrame; }
    /// Bytes of one sample of one channel.
    std::uint32_t bytesPerSample() const;

    friend bool operator==(const AudioFormat&, const AudioFormat&) = default;

private:
    explicit AudioFormat(const AudioStreamBasicDescription& description)
        : description_(description) {}

    AudioStreamBasicDescription description_;
};

}  // namespace tapwell
