#pragma once

#include <string>

namespace tapwell {

/// The files of a recording's two tracks.
struct DualTrackWavPaths {
    std::string systemWav;
    std::string micWav;
};

}  // namespace tapwell
