#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace tapwell {

/// When a captured buffer began, as the time line placed it.
struct CaptureTimes {
    std::uint64_t cycleHostTime = 0;  ///< ns, the cycle that delivered the buffer
    std::uint64_t firstHostTime = 0;  ///< ns, the first frame
    double firstSampleTime = 0;       ///< frames
};

/// Passes whole capture buffers from one real-time producer to one consumer without locks or
/// allocation. A buffer stays one contiguous piece: what does not fit before the end of the memory
/// starts at its beginning, and the rest of the end is skipped.
///
/// Positions count bytes for ever and are reduced to an offset at use. The producer publishes
/// `writePosition_` after the bytes; the consumer publishes `readPosition_` when it is done with
/// them.
class CaptureRing {
public:
    struct Slice {
        std::span<const float> samples;
        CaptureTimes times;
    };

    /// Room for `frames` frames of `channels` samples in buffers of at least
    /// `smallestBufferFrames`. The memory is touched here, so that the producer meets no page
    /// fault.
    CaptureRing(std::uint32_t channels, std::size_t frames, std::size_t smallestBufferFrames);

    /// Producer, real-time safe. False, and nothing written, when there is no room.
    bool push(std::span<const float> samples, const CaptureTimes& times);

    /// Consumer: the oldest buffer, valid until `pop`; absent when the ring is empty.
    std::optional<Slice> front();
    /// Consumer, after a `front` that delivered.
    void pop();

private:
    struct alignas(32) Header {
        std::uint64_t sampleCount;  ///< kSkip: the next buffer is at the beginning of the memory
        CaptureTimes times;
    };
    static constexpr std::uint64_t kSkip = ~std::uint64_t{0};

    static std::size_t pieceSize(std::size_t sampleCount);
    std::byte* at(std::uint64_t position) const { return memory_.get() + position % capacity_; }
    void writeHeader(std::uint64_t position, const Header& header) const;
    Header readHeader(std::uint64_t position) const;

    /// The heap would keep some of a megabyte that comes and goes with every change of devices.
    struct Unmap {
        std::size_t size;
        void operator()(std::byte* memory) const;
    };

    std::size_t capacity_;  ///< bytes, a multiple of the header's size
    std::unique_ptr<std::byte, Unmap> memory_;
    alignas(64) std::atomic<std::uint64_t> writePosition_{0};
    alignas(64) std::atomic<std::uint64_t> readPosition_{0};
};

}  // namespace tapwell
