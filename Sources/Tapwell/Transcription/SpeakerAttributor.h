#pragma once

#include <mutex>
#include <span>
#include <string>

namespace tapwell {

/// Tells whether the local speaker or the others are talking, by which source is louder. Any
/// thread that is not real-time; samples are mono, nominally in [-1, 1].
class SpeakerAttributor {
public:
    /// Root mean square of the samples; 0 for none.
    static float computeRMS(std::span<const float> samples);

    /// Follows the microphone's level with the next block of it. An empty block changes nothing.
    void updateMicLevel(std::span<const float> samples);
    /// Follows the level of the system's audio with the next block of it. An empty block changes
    /// nothing.
    void updateSystemLevel(std::span<const float> samples);

    /// "Others" when the system is audible and louder than the microphone, otherwise "You": also
    /// in silence and on a tie.
    std::string currentSpeaker() const;

private:
    void follow(float& level, std::span<const float> samples);

    mutable std::mutex lock_;
    float micRMS_ = 0;
    float systemRMS_ = 0;
};

}  // namespace tapwell
