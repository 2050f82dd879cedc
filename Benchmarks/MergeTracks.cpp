// Merges two tracks the way a stop of a recording in two tracks does, and nothing else:
//   merge-tracks SYSTEM.wav MIC.wav OUTPUT.m4a mono|stereo

#include "Platform/Linux/FfmpegAssetWriterFactory.h"
#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/LinuxQueueFactory.h"
#include "Platform/Posix/PosixStandardStreams.h"
#include "Platform/RecorderError.h"
#include "Tapwell/Outputs/DualTrackWavMergeAndEncode.h"

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "merge-tracks SYSTEM.wav MIC.wav OUTPUT.m4a mono|stereo\n");
        return 2;
    }
    using namespace tapwell;
    PosixStandardStreams streams;
    LinuxClock clock;
    LinuxQueueFactory queues;
    FfmpegAssetWriterFactory writers(clock);
    const auto layout = std::string(argv[4]) == "stereo" ? RecorderUploadLayout::stereoLR
                                                         : RecorderUploadLayout::monoMix;
    try {
        // Of one moment, as the peer takes them.
        DualTrackWavMergeAndEncode({writers, queues, clock, streams})
            .merge({argv[1], argv[2]}, argv[3], {1, 1}, layout);
    } catch (const RecorderError& error) {
        std::fprintf(stderr, "merge-tracks: %s\n", error.what());
        return 1;
    }
    return 0;
}
