#pragma once

#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/Outputs/DualTrackWavPaths.h"

#include <string>

namespace tapwell {

/// The two WAV files that a dual-track recording leaves beside its output until they are merged.
struct DualTrackCaptureFiles {
    DualTrackWavPaths paths;

    static DualTrackCaptureFiles besideOutput(const std::string& outputPath);

    /// Files of an earlier recording, whose process ended before it could merge them, may be all
    /// that is left of it: gives them names of their own, which the log tells. Throws
    /// RecorderError when one cannot be renamed; nothing is lost then.
    void setAsideLeftOvers(const Log& log) const;

    /// Deletes both, the system's first; failures are ignored.
    void remove() const;
};

}  // namespace tapwell
