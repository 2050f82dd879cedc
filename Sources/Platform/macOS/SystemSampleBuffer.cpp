#include "Platform/macOS/SystemSampleBuffer.h"

#include <utility>

namespace tapwell {
namespace {

static_assert(MediaTime::kValid == kCMTimeFlags_Valid);
static_assert(MediaTime::kRounded == kCMTimeFlags_HasBeenRounded);
static_assert(MediaTime::kPositiveInfinity == kCMTimeFlags_PositiveInfinity);
static_assert(MediaTime::kNegativeInfinity == kCMTimeFlags_NegativeInfinity);
static_assert(MediaTime::kIndefinite == kCMTimeFlags_Indefinite);

::AudioStreamBasicDescription systemDescription(const AudioStreamBasicDescription& stream) {
    return {.mSampleRate = stream.sampleRate,
            .mFormatID = stream.formatID,
            .mFormatFlags = stream.formatFlags,
            .mBytesPerPacket = stream.bytesPerPacket,
            .mFramesPerPacket = stream.framesPerPacket,
            .mBytesPerFrame = stream.bytesPerFrame,
            .mChannelsPerFrame = stream.channelsPerFrame,
            .mBitsPerChannel = stream.bitsPerChannel,
            .mReserved = 0};
}

CFReference<CMBlockBufferRef> makeBlockBuffer(std::span<const std::byte> bytes) {
    CMBlockBufferRef block = nullptr;
    if (CMBlockBufferCreateWithMemoryBlock(kCFAllocatorDefault, nullptr, bytes.size(),
                                           kCFAllocatorDefault, nullptr, 0, bytes.size(),
                                           kCMBlockBufferAssureMemoryNowFlag, &block) != noErr)
        return {};
    CFReference<CMBlockBufferRef> owned(block);
    if (CMBlockBufferReplaceDataBytes(bytes.data(), block, 0, bytes.size()) != noErr) return {};
    return owned;
}

}  // namespace

CMTime systemTime(const MediaTime& time) {
    return {time.value, time.timescale, time.flags, time.epoch};
}

CFReference<CMAudioFormatDescriptionRef> makeSystemFormat(const AudioFormatDescription& format) {
    if (!format.streamDescription()) return {};
    const ::AudioStreamBasicDescription stream = systemDescription(*format.streamDescription());
    CMAudioFormatDescriptionRef made = nullptr;
    if (CMAudioFormatDescriptionCreate(kCFAllocatorDefault, &stream, 0, nullptr, 0, nullptr,
                                       nullptr, &made) != noErr)
        return {};
    return CFReference<CMAudioFormatDescriptionRef>(made);
}

bool SystemSampleBufferFormat::setFormat(
    const std::shared_ptr<const AudioFormatDescription>& format) {
    if (format_ && format == source_) return true;
    if (!format) return false;
    CFReference<CMAudioFormatDescriptionRef> made = makeSystemFormat(*format);
    if (!made) return false;
    format_ = std::move(made);
    source_ = format;
    return true;
}

CFReference<CMSampleBufferRef> SystemSampleBufferFormat::makeSampleBuffer(
    const SampleBuffer& buffer) {
    const CMItemCount count = static_cast<CMItemCount>(buffer.sampleCount());
    if (!buffer.isValid() || count <= 0 || !setFormat(buffer.formatDescription())) return {};
    const CFReference<CMBlockBufferRef> block = makeBlockBuffer(buffer.bytes());
    if (!block) return {};
    const SampleBuffer::Timing& timing = buffer.timing();
    const CMSampleTimingInfo systemTiming{systemTime(timing.duration),
                                          systemTime(timing.presentationTimeStamp),
                                          systemTime(timing.decodeTimeStamp)};
    const std::size_t sampleSize = buffer.bytes().size() / static_cast<std::size_t>(count);
    CMSampleBufferRef made = nullptr;
    if (CMSampleBufferCreateReady(kCFAllocatorDefault, block.get(), format_.get(), count, 1,
                                  &systemTiming, 1, &sampleSize, &made) != noErr)
        return {};
    return CFReference<CMSampleBufferRef>(made);
}

}  // namespace tapwell
