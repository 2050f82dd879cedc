#pragma once

#include "Platform/Linux/AacSampleIndex.h"
#include "Platform/Linux/AacTrack.h"
#include "Platform/Linux/Mp4BoxWriter.h"

#include <string>

namespace tapwell {

/// The `udta` box with what the edit list says too, priming, padding and length, in the form that
/// iTunes introduced (`iTunSMPB`). FFmpeg's reader heeds the edit list of an indexed file, but of a
/// fragmented one only this. Short-lived: refers to what it is made of.
class AacGaplessInformation {
public:
    AacGaplessInformation(const AacTrack& track, const AacSampleIndex& index)
        : track_(track), index_(index) {}

    void write(Mp4BoxWriter& out) const;

private:
    std::string value() const;

    const AacTrack& track_;
    const AacSampleIndex& index_;
};

}  // namespace tapwell
