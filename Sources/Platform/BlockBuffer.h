#pragma once

#include "Platform/OSStatus.h"

#include <cstddef>
#include <memory>
#include <span>

namespace tapwell {

inline constexpr OSStatus kBlockBufferAllocationFailedError = -12701;
inline constexpr OSStatus kBlockBufferBadLengthParameterError = -12704;

/// A block of media bytes, owned, of a size fixed at creation.
class BlockBuffer {
public:
    /// Allocates `byteSize` bytes at once; `out` is set only on success. Fails with
    /// kBlockBufferAllocationFailedError.
    static OSStatus create(std::size_t byteSize, std::shared_ptr<BlockBuffer>& out);

    /// Copies `bytes` to `offset`. Fails with kBlockBufferBadLengthParameterError when they reach
    /// past the end.
    OSStatus replaceDataBytes(std::span<const std::byte> bytes, std::size_t offset);

    std::span<const std::byte> bytes() const { return {data_.get(), size_}; }

private:
    BlockBuffer(std::unique_ptr<std::byte[]> data, std::size_t size)
        : data_(std::move(data)), size_(size) {}

    std::unique_ptr<std::byte[]> data_;
    std::size_t size_;
};

}  // namespace tapwell
