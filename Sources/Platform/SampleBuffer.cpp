#include "Platform/SampleBuffer.h"

namespace tapwell {

OSStatus SampleBuffer::create(std::shared_ptr<const BlockBuffer> data,
                              std::shared_ptr<const AudioFormatDescription> format,
                              std::int64_t sampleCount, const Timing& timing,
                              std::optional<SampleBuffer>& out) {
    if (!data) return kSampleBufferErrorRequiredParameterMissing;
    const std::size_t byteSize = data->bytes().size();
    if (sampleCount < 0 ||
        (sampleCount > 0 && byteSize % static_cast<std::size_t>(sampleCount) != 0) ||
        (sampleCount == 0 && byteSize != 0))
        return kSampleBufferErrorInvalidEntryCount;

    SampleBuffer buffer;
    buffer.data_ = std::move(data);
    buffer.format_ = std::move(format);
    buffer.sampleCount_ = sampleCount;
    buffer.timing_ = timing;
    out = std::move(buffer);
    return noErr;
}

std::span<const std::byte> SampleBuffer::bytes() const {
    return data_ ? data_->bytes() : std::span<const std::byte>{};
}

}  // namespace tapwell
