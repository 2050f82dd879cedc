#include "Platform/PcmBuffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace tapwell {

std::optional<PcmBuffer> PcmBuffer::wrappingNoCopy(const AudioFormat& format,
                                                   AudioBufferList bufferList) {
    if (bufferList.empty() || bufferList.size() != format.bufferCount()) return std::nullopt;
    const std::uint32_t channelsInBlock = format.isInterleaved() ? format.channelCount() : 1;
    const std::uint32_t byteSize = bufferList.front().dataByteSize;
    if (byteSize == 0 || byteSize % format.bytesPerFrame() != 0) return std::nullopt;

    PcmBuffer wrapped(format);
    wrapped.blocks_.reserve(bufferList.size());
    for (const AudioBuffer& block : bufferList) {
        if (block.data == nullptr || block.dataByteSize != byteSize ||
            block.numberChannels != channelsInBlock)
            return std::nullopt;
        wrapped.blocks_.push_back(static_cast<std::byte*>(block.data));
    }
    wrapped.frameCapacity_ = byteSize / format.bytesPerFrame();
    wrapped.frameLength_ = wrapped.frameCapacity_;
    return wrapped;
}

std::optional<PcmBuffer> PcmBuffer::withCapacity(const AudioFormat& format,
                                                 std::uint32_t frameCapacity) {
    const std::size_t blockSize = std::size_t{frameCapacity} * format.bytesPerFrame();
    if (blockSize > std::numeric_limits<std::size_t>::max() / format.bufferCount())
        return std::nullopt;
    PcmBuffer owned(format);
    const std::size_t totalSize = blockSize * format.bufferCount();
    auto* memory = new (std::nothrow) std::byte[std::max<std::size_t>(totalSize, 1)]();
    if (memory == nullptr) return std::nullopt;
    owned.storage_.reset(memory);
    for (std::uint32_t i = 0; i < format.bufferCount(); ++i)
        owned.blocks_.push_back(memory + i * blockSize);
    owned.frameCapacity_ = frameCapacity;
    return owned;
}

std::optional<PcmBuffer> PcmBuffer::deepCopy(const AudioFormat& format) const {
    if (!(format_.withSampleRate(format.sampleRate()) == format)) return std::nullopt;
    auto copy = withCapacity(format, frameLength_);
    if (!copy) return std::nullopt;
    const std::size_t blockSize = std::size_t{frameLength_} * format_.bytesPerFrame();
    for (std::size_t i = 0; i < blocks_.size(); ++i)
        std::memcpy(copy->blocks_[i], blocks_[i], blockSize);
    copy->setFrameLength(frameLength_);
    return copy;
}

void PcmBuffer::setFrameLength(std::uint32_t frames) {
    frameLength_ = std::min(frames, frameCapacity_);
}

}  // namespace tapwell
