#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tapwell {

/// Cuts a stream of audio, in blocks of 20 ms at 16 kHz, into segments of speech: from shortly
/// before the speech to the pause after it, or to a dip in the level when there is no pause for
/// long. Not synchronised.
class SpeechSegment {
public:
    /// Takes the next block and whether it is heard as speech. True when the segment is complete.
    bool append(const std::vector<std::int16_t>& block, bool isSpeech);
    /// Whether speech has begun.
    bool hasBegun() const { return hasBegun_; }
    const std::vector<std::int16_t>& samples() const { return samples_; }
    /// Returns the samples and begins the next segment.
    std::vector<std::int16_t> take();

private:
    void countQuietBlocks(const std::vector<std::int16_t>& block);

    std::vector<std::int16_t> samples_;
    bool hasBegun_ = false;
    double energy_ = 0;  ///< sum of the blocks' mean squares
    int blocks_ = 0;
    int quietBlocks_ = 0;  ///< in a row
};

}  // namespace tapwell
