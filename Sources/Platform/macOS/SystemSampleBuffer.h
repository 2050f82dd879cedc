#pragma once

#include "Platform/SampleBuffer.h"
#include "Platform/macOS/CFReference.h"

#include <CoreMedia/CoreMedia.h>

#include <memory>

namespace tapwell {

CMTime systemTime(const MediaTime& time);

/// Empty without a stream description, or when the system cannot make one.
CFReference<CMAudioFormatDescriptionRef> makeSystemFormat(const AudioFormatDescription& format);

/// Makes the system's sample buffers of one stream's. One thread at a time.
class SystemSampleBufferFormat {
public:
    /// A copy of the samples with format and timing; empty when the system cannot make one.
    CFReference<CMSampleBufferRef> makeSampleBuffer(const SampleBuffer& buffer);

private:
    bool setFormat(const std::shared_ptr<const AudioFormatDescription>& format);

    std::shared_ptr<const AudioFormatDescription> source_;
    CFReference<CMAudioFormatDescriptionRef> format_;  ///< made of source_
};

}  // namespace tapwell
