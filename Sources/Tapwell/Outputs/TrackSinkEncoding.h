#pragma once

namespace tapwell {

/// What a TrackSink is fed with.
enum class TrackSinkEncoding {
    matchSourceFormat,         ///< whatever the first buffer carries, in real time
    mixedMonoFloatPCMToAAC,    ///< mono 32-bit float at the mix rate
    mixedStereoFloatPCMToAAC,  ///< interleaved pairs, left = microphone, right = system audio
};

}  // namespace tapwell
