#pragma once

#include "Tapwell/Outputs/MonoPcm16WavReader.h"

#include <cstdint>
#include <vector>

namespace tapwell {

/// One track as it lies on the merged timeline: silence, then the file's frames at the output's
/// rate, then silence. One thread at a time.
class MergeTrack {
public:
    /// `pad`: frames of silence before the file's first. `outputRate` in Hz.
    MergeTrack(MonoPcm16WavReader& reader, std::int64_t pad, double outputRate);

    /// Frames up to the end of the file's last.
    std::int64_t endFrame() const { return pad_ + frames_; }

    /// `count` samples from output frame `start` on. Throws RecorderError.
    std::vector<std::int16_t> read(std::int64_t start, std::int64_t count);

private:
    void copy(std::int64_t first, std::int64_t last, std::int16_t* out);
    void interpolate(std::int64_t first, std::int64_t last, std::int16_t* out);

    MonoPcm16WavReader& reader_;
    const std::int64_t pad_;
    const double outputRate_;
    const std::int64_t frames_;  ///< of the file, at the output's rate
};

}  // namespace tapwell
