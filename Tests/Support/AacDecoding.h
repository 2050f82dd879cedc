#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tapwell::test {

/// What a reader makes of an audio file.
struct DecodedAudio {
    int sampleRate = 0;
    std::size_t channelCount = 0;
    std::int64_t declaredFrames = 0;  ///< of the track, after its edit list
    std::vector<float> samples;       ///< interleaved

    std::size_t frameCount() const { return channelCount == 0 ? 0 : samples.size() / channelCount; }
    std::vector<float> channel(std::size_t index) const;
};

/// Decodes a file with FFmpeg's libraries as they are, which drop the frames that the file says
/// come before its content. Packets that fail to decode, or a file that does not open, fail the
/// test.
DecodedAudio decodeAudioFile(const std::string& path);

}  // namespace tapwell::test
