#pragma once

#include <string>
#include <vector>

namespace tapwell::test {

/// Speech of flite: mono samples in [-1, 1] at `sampleRate` Hz, with half a second of silence at
/// both ends. `voice`: "rms" (male) or "slt" (female). Throws std::runtime_error when flite or
/// ffmpeg fails.
std::vector<float> spokenText(const std::string& voice, const std::string& text, int sampleRate);

/// Sentences that everyday words make up, in one recording: spoken in turn by both voices.
struct SpokenSentences {
    explicit SpokenSentences(int sampleRate);

    std::vector<std::string> texts;
    std::string wholeText;  ///< lower case, no punctuation
    std::vector<float> samples;
};

/// How many words must be replaced, left out or put in to make one text of the other, over the
/// number of words of the reference. Case and punctuation do not count.
double wordErrorRate(const std::string& reference, const std::string& hypothesis);

}  // namespace tapwell::test
