#pragma once

#include <cstdint>
#include <span>

namespace tapwell {

/// One block of sample memory: all channels of an interleaved stream, or one channel of a
/// non-interleaved one. Does not own `data`.
struct AudioBuffer {
    std::uint32_t numberChannels = 0;  ///< channels interleaved in this block
    std::uint32_t dataByteSize = 0;    ///< bytes at `data`
    void* data = nullptr;
};

/// The blocks of one I/O cycle, all with the same number of frames.
using AudioBufferList = std::span<const AudioBuffer>;

}  // namespace tapwell
