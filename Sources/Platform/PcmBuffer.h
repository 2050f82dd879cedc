#pragma once

#include "Platform/AudioBufferList.h"
#include "Platform/AudioFormat.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tapwell {

/// Frames of linear PCM in one format. Either wraps memory of a device without copying it (valid
/// only as long as that memory, in practice during the callback) or owns its memory. Copies of a
/// PcmBuffer share the sample memory; `deepCopy` does not. Not synchronised.
class PcmBuffer {
public:
    /// Wraps device memory. Absent when there are no blocks, their number or channels do not fit
    /// the format, a data pointer is null, or their byte sizes are zero, unequal or no whole
    /// number of frames.
    static std::optional<PcmBuffer> wrappingNoCopy(const AudioFormat& format,
                                                   AudioBufferList bufferList);

    /// Owned, zeroed memory for `frameCapacity` frames with a frame length of 0. Absent when the
    /// memory cannot be had.
    static std::optional<PcmBuffer> withCapacity(const AudioFormat& format,
                                                 std::uint32_t frameCapacity);

    /// An owned copy of the frames, labelled with `format`, which must have this buffer's sample
    /// layout (the rate may differ; the samples are not touched). Absent when it has another
    /// layout or the memory cannot be had.
    std::optional<PcmBuffer> deepCopy(const AudioFormat& format) const;

    const AudioFormat& format() const { return format_; }
    std::uint32_t frameLength() const { return frameLength_; }
    std::uint32_t frameCapacity() const { return frameCapacity_; }
    /// `frames` is limited to the capacity.
    void setFrameLength(std::uint32_t frames);

    /// First byte of block `index` (see AudioFormat::bufferCount).
    std::byte* data(std::uint32_t index) { return blocks_[index]; }
    const std::byte* data(std::uint32_t index) const { return blocks_[index]; }

    /// First sample of a channel and, in `stride`, the distance in samples from one frame to the
    /// next. The format must hold samples of type `Sample`.
    template <typename Sample>
    const Sample* channel(std::uint32_t index, std::uint32_t& stride) const {
        return const_cast<PcmBuffer*>(this)->channel<Sample>(index, stride);
    }
    template <typename Sample>
    Sample* channel(std::uint32_t index, std::uint32_t& stride) {
        if (format_.isInterleaved()) {
            stride = format_.channelCount();
            return reinterpret_cast<Sample*>(blocks_[0]) + index;
        }
        stride = 1;
        return reinterpret_cast<Sample*>(blocks_[index]);
    }

private:
    explicit PcmBuffer(const AudioFormat& format) : format_(format) {}

    AudioFormat format_;
    std::shared_ptr<std::byte[]> storage_;  ///< null when wrapping
    std::vector<std::byte*> blocks_;
    std::uint32_t frameLength_ = 0;
    std::uint32_t frameCapacity_ = 0;
};

}  // namespace tapwell
