#include "Platform/Linux/SpeechSegment.h"

#include <utility>

namespace tapwell {
namespace {

/// What is kept of the audio before speech was noticed: recognizers need some frames of it, and
/// notice late.
constexpr std::size_t kLeadInSamples = 8000;
// The second pass takes a third of a segment's length and cannot be interrupted, and a cut inside a
// word costs it: from 6 s on a dip will do that is longer than the closure of a consonant, from 12
// s on a shorter one, and at 15 s the segment ends anyhow.
constexpr std::size_t kLongDipWelcomeSamples = 6 * 16000;
constexpr std::size_t kShortDipWelcomeSamples = 12 * 16000;
constexpr std::size_t kLongestSamples = 15 * 16000;
constexpr int kLongDipBlocks = 9;
constexpr int kShortDipBlocks = 5;
constexpr double kDipPowerRatio = 0.01;  ///< 20 dB below the segment's mean

double meanSquare(const std::vector<std::int16_t>& block) {
    double sum = 0;
    for (const std::int16_t sample : block)
        sum += static_cast<double>(sample) * sample;
    return block.empty() ? 0 : sum / static_cast<double>(block.size());
}

}  // namespace

bool SpeechSegment::append(const std::vector<std::int16_t>& block, bool isSpeech) {
    samples_.insert(samples_.end(), block.begin(), block.end());
    if (!hasBegun_) {
        hasBegun_ = isSpeech;
        if (!isSpeech && samples_.size() > kLeadInSamples)
            samples_.erase(samples_.begin(), samples_.end() - kLeadInSamples);
        return false;
    }
    countQuietBlocks(block);
    return !isSpeech || samples_.size() >= kLongestSamples ||
           (quietBlocks_ >= kLongDipBlocks && samples_.size() >= kLongDipWelcomeSamples) ||
           (quietBlocks_ >= kShortDipBlocks && samples_.size() >= kShortDipWelcomeSamples);
}

void SpeechSegment::countQuietBlocks(const std::vector<std::int16_t>& block) {
    const double power = meanSquare(block);
    energy_ += power;
    ++blocks_;
    quietBlocks_ = power < kDipPowerRatio * energy_ / blocks_ ? quietBlocks_ + 1 : 0;
}

std::vector<std::int16_t> SpeechSegment::take() {
    auto samples = std::exchange(samples_, {});
    *this = SpeechSegment();
    return samples;
}

}  // namespace tapwell
