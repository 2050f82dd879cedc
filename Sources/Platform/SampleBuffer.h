#pragma once

#include "Platform/AudioFormatDescription.h"
#include "Platform/BlockBuffer.h"
#include "Platform/MediaTime.h"
#include "Platform/OSStatus.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace tapwell {

inline constexpr OSStatus kSampleBufferErrorRequiredParameterMissing = -12731;
inline constexpr OSStatus kSampleBufferErrorInvalidEntryCount = -12736;

/// Timed audio samples: their bytes, their format, how many there are (frames) and when they
/// play. Copies share the bytes.
class SampleBuffer {
public:
    struct Timing {
        MediaTime duration;                       ///< of one frame
        MediaTime presentationTimeStamp;          ///< of the first frame
        MediaTime decodeTimeStamp = MediaTime{};  ///< invalid for PCM
    };

    /// `out` is set only on success. Fails with kSampleBufferErrorRequiredParameterMissing without
    /// data, with kSampleBufferErrorInvalidEntryCount when `sampleCount` is negative or the data
    /// is no whole number of frames. A missing format is allowed, as media systems allow it.
    static OSStatus create(std::shared_ptr<const BlockBuffer> data,
                           std::shared_ptr<const AudioFormatDescription> format,
                           std::int64_t sampleCount, const Timing& timing,
                           std::optional<SampleBuffer>& out);

    /// Null when the buffer carries no format.
    const std::shared_ptr<const AudioFormatDescription>& formatDescription() const {
        return format_;
    }
    std::int64_t sampleCount() const { return sampleCount_; }
    const Timing& timing() const { return timing_; }
    const MediaTime& presentationTimeStamp() const { return timing_.presentationTimeStamp; }
    std::span<const std::byte> bytes() const;
    std::int64_t totalSampleSize() const { return static_cast<std::int64_t>(bytes().size()); }

    /// A buffer can be invalidated by its producer; consumers skip it then.
    bool isValid() const { return data_ != nullptr; }
    void invalidate() { data_.reset(); }

private:
    SampleBuffer() = default;

    std::shared_ptr<const BlockBuffer> data_;
    std::shared_ptr<const AudioFormatDescription> format_;
    std::int64_t sampleCount_ = 0;
    Timing timing_;
};

}  // namespace tapwell
