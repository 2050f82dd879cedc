#include "Platform/Linux/PauseDetector.h"

#include <algorithm>
#include <cmath>

namespace tapwell {
namespace {

// A block is 20 ms. The values are those usual for telephone speech: a syllable is louder than the
// room by 9 dB for at least 60 ms, and 0.6 s without one end a sentence.
constexpr double kAboveFloorDb = 9;
constexpr double kQuietestSpeechDb = -55;
constexpr int kLoudBlocksOfSpeech = 3;
constexpr int kQuietBlocksOfPause = 30;
/// The floor follows a room that grows louder by 3 dB a second, and one that grows quieter at once.
constexpr double kFloorRiseDbPerBlock = 0.06;

double levelDb(std::span<const std::int16_t> samples) {
    double sum = 1;  // keeps digital silence finite
    for (const std::int16_t sample : samples)
        sum += static_cast<double>(sample) * sample;
    return 10 * std::log10(sum / static_cast<double>(samples.size()) / (32768.0 * 32768.0));
}

}  // namespace

bool PauseDetector::process(std::span<const std::int16_t> samples) {
    if (samples.empty()) return hearsSpeech_;
    const double level = levelDb(samples);
    noiseFloorDb_ = hasFloor_ ? std::min(level, noiseFloorDb_ + kFloorRiseDbPerBlock) : level;
    hasFloor_ = true;
    const bool isLoud = level > std::max(noiseFloorDb_ + kAboveFloorDb, kQuietestSpeechDb);
    loudBlocks_ = isLoud ? loudBlocks_ + 1 : 0;
    quietBlocks_ = isLoud ? 0 : quietBlocks_ + 1;
    if (loudBlocks_ >= kLoudBlocksOfSpeech) hearsSpeech_ = true;
    if (quietBlocks_ >= kQuietBlocksOfPause) hearsSpeech_ = false;
    return hearsSpeech_;
}

std::string PauseDetector::endSegment() {
    hearsSpeech_ = false;
    loudBlocks_ = 0;
    return "";
}

}  // namespace tapwell
