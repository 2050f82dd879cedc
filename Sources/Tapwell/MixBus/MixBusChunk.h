#pragma once

#include "Platform/MediaTime.h"

#include <vector>

namespace tapwell {

/// Consecutive mono samples at the mix rate and the time of the first one.
struct MixBusChunk {
    std::vector<float> samples;
    MediaTime presentationTime;
    /// The first after an interruption of the stream, whose length its time tells.
    bool beginsAnew = false;
    /// What a filter held when its stream ended: it may come when silence stands in its place.
    bool isTail = false;
};

}  // namespace tapwell
