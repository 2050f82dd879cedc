#include "Platform/AudioFormat.h"

#include <cmath>

namespace tapwell {
namespace {

std::uint32_t bitsPerSample(CommonFormat format) {
    switch (format) {
        case CommonFormat::pcmInt16:
            return 16;
        case CommonFormat::pcmFloat32:
        case CommonFormat::pcmInt32:
            return 32;
        case CommonFormat::pcmFloat64:
            return 64;
        case CommonFormat::other:
            break;
    }
    return 0;
}

bool isUsableRate(double sampleRate) {
    return std::isfinite(sampleRate) && sampleRate > 0;
}

}  // namespace

std::optional<AudioFormat> AudioFormat::fromStreamDescription(
    const AudioStreamBasicDescription& description) {
    const bool interleaved = (description.formatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
    const std::uint32_t channelsInBlock = interleaved ? description.channelsPerFrame : 1;
    const bool usable =
        description.formatID == kAudioFormatLinearPCM && isUsableRate(description.sampleRate) &&
        description.channelsPerFrame > 0 && description.bitsPerChannel > 0 &&
        description.bitsPerChannel % 8 == 0 && description.framesPerPacket == 1 &&
        description.bytesPerPacket == description.bytesPerFrame &&
        description.bytesPerFrame % channelsInBlock == 0 &&
        description.bytesPerFrame / channelsInBlock * 8 >= description.bitsPerChannel;
    if (!usable) return std::nullopt;
    return AudioFormat(description);
}

std::optional<AudioFormat> AudioFormat::make(CommonFormat commonFormat, double sampleRate,
                                             std::uint32_t channelCount, bool interleaved) {
    const std::uint32_t bits = bitsPerSample(commonFormat);
    if (bits == 0 || !isUsableRate(sampleRate) || channelCount == 0) return std::nullopt;
    const bool isFloat =
        commonFormat == CommonFormat::pcmFloat32 || commonFormat == CommonFormat::pcmFloat64;

    AudioStreamBasicDescription description;
    description.sampleRate = sampleRate;
    description.formatID = kAudioFormatLinearPCM;
    description.formatFlags =
        (isFloat ? kAudioFormatFlagIsFloat : kAudioFormatFlagIsSignedInteger) |
        kAudioFormatFlagIsPacked | (interleaved ? 0 : kAudioFormatFlagIsNonInterleaved);
    description.bytesPerFrame = bits / 8 * (interleaved ? channelCount : 1);
    description.bytesPerPacket = description.bytesPerFrame;
    description.framesPerPacket = 1;
    description.channelsPerFrame = channelCount;
    description.bitsPerChannel = bits;
    return AudioFormat(description);
}

std::optional<AudioFormat> AudioFormat::withSampleRate(double sampleRate) const {
    if (!isUsableRate(sampleRate)) return std::nullopt;
    AudioStreamBasicDescription relabelled = description_;
    relabelled.sampleRate = sampleRate;
    return AudioFormat(relabelled);
}

CommonFormat AudioFormat::commonFormat() const {
    const std::uint32_t flags = description_.formatFlags;
    const bool native =
        (flags & kAudioFormatFlagIsBigEndian) == 0 && (flags & kAudioFormatFlagIsPacked) != 0;
    if (!native) return CommonFormat::other;
    const std::uint32_t bits = description_.bitsPerChannel;
    if ((flags & kAudioFormatFlagIsFloat) != 0) {
        if (bits == 32) return CommonFormat::pcmFloat32;
        return bits == 64 ? CommonFormat::pcmFloat64 : CommonFormat::other;
    }
    if ((flags & kAudioFormatFlagIsSignedInteger) != 0) {
        if (bits == 16) return CommonFormat::pcmInt16;
        return bits == 32 ? CommonFormat::pcmInt32 : CommonFormat::other;
    }
    return CommonFormat::other;
}

std::uint32_t AudioFormat::bytesPerSample() const {
    return isInterleaved() ? bytesPerFrame() / channelCount() : bytesPerFrame();
}

}  // namespace tapwell
