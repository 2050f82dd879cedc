#include "Tapwell/Outputs/PCMSampleBuilder.h"

#include "Platform/BlockBuffer.h"
#include "Platform/RecorderError.h"
#include "Tapwell/MixBus/DualStreamMixer.h"

#include <cmath>
#include <optional>

namespace tapwell {

PCMSampleBuilder::PCMSampleBuilder(double mixBusSampleRateHz, Layout layout)
    : mixBusSampleRateHz_(mixBusSampleRateHz),
      durationTimescale_(preferredTimescale(mixBusSampleRateHz)),
      layout_(std::move(layout)) {}

void PCMSampleBuilder::ensureFormatCreated() {
    if (pcmFormatDescription_) return;
    if (!std::isfinite(mixBusSampleRateHz_) || mixBusSampleRateHz_ < 8000 ||
        mixBusSampleRateHz_ > 192000)
        fail(Failure::missingFormat, "invalid mix bus rate");

    AudioStreamBasicDescription stream;
    stream.sampleRate = mixBusSampleRateHz_;
    stream.formatID = kAudioFormatLinearPCM;
    stream.formatFlags = layout_.formatFlags;
    stream.bytesPerFrame = layout_.channels * static_cast<std::uint32_t>(sizeof(float));
    stream.bytesPerPacket = stream.bytesPerFrame;
    stream.framesPerPacket = 1;
    stream.channelsPerFrame = layout_.channels;
    stream.bitsPerChannel = 32;
    const OSStatus status = AudioFormatDescription::create(stream, pcmFormatDescription_);
    if (status != noErr)
        fail(Failure::missingFormat,
             layout_.messagePrefix +
                 "CMAudioFormatDescriptionCreate failed: " + std::to_string(status));
}

SampleBuffer PCMSampleBuilder::make(std::span<const float> samples, MediaTime pts) {
    ensureFormatCreated();
    if (!pcmFormatDescription_) fail(Failure::missingFormat, layout_.missingFormat);
    if (samples.empty() || samples.size() % layout_.channels != 0)
        fail(Failure::invalidSamples, layout_.invalidSamples);

    std::shared_ptr<BlockBuffer> data;
    if (BlockBuffer::create(samples.size_bytes(), data) != noErr)
        fail(Failure::blockBuffer, layout_.messagePrefix + "CMBlockBufferCreate failed");
    if (data->replaceDataBytes(std::as_bytes(samples), 0) != noErr)
        fail(Failure::copy, layout_.messagePrefix + "CMBlockBufferReplaceDataBytes failed");

    const SampleBuffer::Timing timing{MediaTime::make(1, durationTimescale_), pts,
                                      MediaTime::invalid()};
    std::optional<SampleBuffer> buffer;
    const OSStatus status = SampleBuffer::create(
        std::move(data), pcmFormatDescription_,
        static_cast<std::int64_t>(samples.size() / layout_.channels), timing, buffer);
    if (status != noErr)
        fail(Failure::sampleBuffer,
             layout_.messagePrefix + "CMSampleBufferCreate failed: " + std::to_string(status));
    return *std::move(buffer);
}

void PCMSampleBuilder::fail(Failure failure, const std::string& message) const {
    throw RecorderError(layout_.firstErrorCode + static_cast<int>(failure), message);
}

}  // namespace tapwell
