#pragma once

#include "Platform/Linux/AacSampleIndex.h"
#include "Platform/Linux/AacTrack.h"
#include "Platform/Linux/Mp4BoxWriter.h"

#include <cstdint>

namespace tapwell {

/// The `moov` box of a file with one AAC track (ISO/IEC 14496-12): how long the recording is,
/// where its content begins, and what its packets are. Short-lived: refers to what it is made of.
class AacMovieBox {
public:
    static constexpr std::uint32_t kTrackId = 1;

    enum class Shape {
        fragmented,  ///< fragments follow, and tell of their packets; the index is empty
        indexed,     ///< the index tells of all packets
    };

    AacMovieBox(const AacTrack& track, const AacSampleIndex& index, Shape shape)
        : track_(track), index_(index), shape_(shape) {}

    void write(Mp4BoxWriter& out) const;

private:
    void writeMovieHeader(Mp4BoxWriter& out) const;
    void writeTrack(Mp4BoxWriter& out) const;
    void writeTrackHeader(Mp4BoxWriter& out) const;
    void writeEditList(Mp4BoxWriter& out) const;
    void writeMedia(Mp4BoxWriter& out) const;
    void writeMediaHeader(Mp4BoxWriter& out) const;
    void writeMediaInformation(Mp4BoxWriter& out) const;

    const AacTrack& track_;
    const AacSampleIndex& index_;
    const Shape shape_;
};

}  // namespace tapwell
