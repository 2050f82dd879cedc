#pragma once

#include "Platform/AudioStreamBasicDescription.h"
#include "Platform/OSStatus.h"

#include <memory>
#include <optional>

namespace tapwell {

inline constexpr OSStatus kFormatDescriptionErrorInvalidParameter = -12710;

/// The format that a sample buffer carries. Immutable, shared between the buffers of a stream.
class AudioFormatDescription {
public:
    /// Makes a description of `stream`; `out` is set only on success. Fails with
    /// kFormatDescriptionErrorInvalidParameter when the rate is not finite and positive or there
    /// are no channels.
    static OSStatus create(const AudioStreamBasicDescription& stream,
                           std::shared_ptr<const AudioFormatDescription>& out);

    /// A description of an audio format that has no stream description.
    static std::shared_ptr<const AudioFormatDescription> withoutStreamDescription();

    const std::optional<AudioStreamBasicDescription>& streamDescription() const { return stream_; }

private:
    explicit AudioFormatDescription(std::optional<AudioStreamBasicDescription> stream)
        : stream_(stream) {}

    std::optional<AudioStreamBasicDescription> stream_;
};

}  // namespace tapwell
