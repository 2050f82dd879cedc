#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Clock.h"
#include "Platform/QueueFactory.h"
#include "Platform/StandardStreams.h"
#include "Tapwell/Configuration/RecorderUploadLayout.h"
#include "Tapwell/Outputs/DualTrackCaptureMeta.h"
#include "Tapwell/Outputs/DualTrackWavPaths.h"
#include "Tapwell/Outputs/MonoPcm16WavReader.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tapwell {

/// Puts the two tracks of a recording on one timeline and encodes them into one AAC file, mixed or
/// side by side. Streams both; memory does not grow with length.
class DualTrackWavMergeAndEncode {
public:
    struct Services {
        AssetWriterFactory& writers;
        QueueFactory& queues;
        const Clock& clock;
        StandardStreams& streams;
    };

    /// Frames of silence before each track.
    struct Pads {
        std::int64_t padSys = 0;
        std::int64_t padMic = 0;

        friend bool operator==(const Pads&, const Pads&) = default;
    };

    explicit DualTrackWavMergeAndEncode(const Services& services) : services_(services) {}

    /// Writes `outputM4a`, in place of a file that exists, and returns when it is finished; at the
    /// rate of the system's track. Throws RecorderError (codes 90 to 95, or the encoder's); what
    /// was written by then stays. The inputs are only read.
    void merge(const DualTrackWavPaths& inputs, const std::string& outputM4a,
               const DualTrackCaptureMeta& meta, RecorderUploadLayout layout) const;

    /// How far each track is moved, in frames at `sampleRate`: by the capture times of their first
    /// frames, else so that their first sounds coincide; at most 30 seconds.
    /// `firstSystemSound`, `firstMicSound`: index of the first frame that is not silent, each at
    /// its file's own rate.
    static Pads computeAlignmentPads(const DualTrackCaptureMeta& meta, const Clock& clock,
                                     double sampleRate, std::int64_t firstSystemSound,
                                     std::int64_t firstMicSound, double micRate);

private:
    const Services services_;
};

}  // namespace tapwell
