#pragma once

#include "Platform/Linux/AacSampleIndex.h"
#include "Platform/Linux/AacTrack.h"
#include "Platform/Linux/Mp4BoxWriter.h"

#include <cstdint>

namespace tapwell {

/// The `stbl` box of an AAC track (ISO/IEC 14496-12): what its packets are, how long each lasts,
/// where it is and how big. They lie one after the other, in chunks of about a second. Short-lived:
/// refers to what it is made of.
class AacSampleTable {
public:
    AacSampleTable(const AacTrack& track, const AacSampleIndex& index)
        : track_(track), index_(index) {}

    void write(Mp4BoxWriter& out) const;

private:
    void writeTimeToSample(Mp4BoxWriter& out) const;
    void writeSampleToChunk(Mp4BoxWriter& out) const;
    void writeChunkOffsets(Mp4BoxWriter& out) const;
    void writeSampleSizes(Mp4BoxWriter& out) const;
    void writeRollGroups(Mp4BoxWriter& out) const;
    std::uint64_t packetsPerChunk() const;

    const AacTrack& track_;
    const AacSampleIndex& index_;
};

}  // namespace tapwell
