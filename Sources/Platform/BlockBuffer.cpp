#include "Platform/BlockBuffer.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace tapwell {

OSStatus BlockBuffer::create(std::size_t byteSize, std::shared_ptr<BlockBuffer>& out) {
    std::unique_ptr<std::byte[]> data(new (std::nothrow)
                                          std::byte[std::max<std::size_t>(byteSize, 1)]);
    if (!data) return kBlockBufferAllocationFailedError;
    out.reset(new BlockBuffer(std::move(data), byteSize));
    return noErr;
}

OSStatus BlockBuffer::replaceDataBytes(std::span<const std::byte> bytes, std::size_t offset) {
    if (offset > size_ || bytes.size() > size_ - offset) return kBlockBufferBadLengthParameterError;
    if (!bytes.empty()) std::memcpy(data_.get() + offset, bytes.data(), bytes.size());
    return noErr;
}

}  // namespace tapwell
