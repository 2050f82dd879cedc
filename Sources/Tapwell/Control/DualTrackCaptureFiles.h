#pragma once

#include "Tapwell/Diagnostics/Log.h"

#include <string>

namespace tapwell {

/// The two WAV files that a dual-track recording leaves beside its output until they are merged.
struct DualTrackCaptureFiles {
    std::string systemWav;
    std::string micWav;

    static DualTrackCaptureFiles besideOutput(const std::string& outputPath);

    /// Files of an earlier recording, whose process ended before it could merge them, may be all
    /// that is left of it: gives them names of their own, which the log tells. Throws
    /// RecorderError when they cannot be renamed; they are untouched then.
    void setAsideLeftOvers(const Log& log) const;

    /// Deletes both, the system's first; failures are ignored.
    void remove() const;
};

}  // namespace tapwell
