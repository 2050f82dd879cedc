#pragma once

#include "Platform/Linux/AacSampleIndex.h"
#include "Platform/Linux/AacTrack.h"
#include "Platform/Linux/Mp4BoxWriter.h"

#include <cstdint>

namespace tapwell {

/// The `stsd` box of an AAC track (ISO/IEC 14496-12, -14 and -1): what a decoder must know of all
/// packets. Short-lived: refers to what it is made of.
class AacSampleDescription {
public:
    AacSampleDescription(const AacTrack& track, const AacSampleIndex& index)
        : track_(track), index_(index) {}

    void write(Mp4BoxWriter& out) const;

private:
    void writeElementaryStream(Mp4BoxWriter& out) const;
    void writeDecoderConfiguration(Mp4BoxWriter& out) const;
    std::uint64_t averageBitRate() const;

    const AacTrack& track_;
    const AacSampleIndex& index_;
};

}  // namespace tapwell
