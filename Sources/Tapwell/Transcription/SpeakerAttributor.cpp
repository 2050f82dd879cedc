#include "Tapwell/Transcription/SpeakerAttributor.h"

#include <cmath>

namespace tapwell {
namespace {

/// Weight of the newest block in a level. With blocks of about 20 ms a level follows speech within
/// a tenth of a second and does not flicker with every syllable.
constexpr float kAlpha = 0.2F;
/// Level below which a source counts as silent: -40 dB of full scale, under speech (about -25 dB)
/// and above the noise of a quiet room.
constexpr float kSilenceThreshold = 0.01F;

}  // namespace

float SpeakerAttributor::computeRMS(std::span<const float> samples) {
    if (samples.empty()) return 0;
    double sum = 0;
    for (const float sample : samples)
        sum += static_cast<double>(sample) * static_cast<double>(sample);
    return static_cast<float>(std::sqrt(sum / static_cast<double>(samples.size())));
}

void SpeakerAttributor::updateMicLevel(std::span<const float> samples) {
    follow(micRMS_, samples);
}

void SpeakerAttributor::updateSystemLevel(std::span<const float> samples) {
    follow(systemRMS_, samples);
}

/// An exponential moving average of the blocks' levels. A block that is no finite sound is passed
/// over: one such block would spoil the level for good.
void SpeakerAttributor::follow(float& level, std::span<const float> samples) {
    const float blockLevel = computeRMS(samples);
    if (samples.empty() || !std::isfinite(blockLevel)) return;
    const std::lock_guard hold(lock_);
    level = kAlpha * blockLevel + (1 - kAlpha) * level;
}

std::string SpeakerAttributor::currentSpeaker() const {
    const std::lock_guard hold(lock_);
    const bool silent = micRMS_ < kSilenceThreshold && systemRMS_ < kSilenceThreshold;
    return silent || systemRMS_ <= micRMS_ ? "You" : "Others";
}

}  // namespace tapwell
