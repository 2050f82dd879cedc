#include "EndToEnd/RecordingTest.h"
#include "Support/MultiToneFit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <tuple>
#include <vector>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr double frequencyHz = 997;
constexpr double settlingSeconds = 0.1;
constexpr std::size_t windowSize = 512;

enum class Side { speaker, microphone };

/// A steady tone through the server, the recorder and the codec.
class PurityTest : public RecordingTest,
                   public testing::WithParamInterface<std::tuple<int, Side>> {};

std::string testName(const testing::TestParamInfo<std::tuple<int, Side>>& info) {
    const auto [rate, side] = info.param;
    return (side == Side::speaker ? "speaker_" : "microphone_") + std::to_string(rate);
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(),
                     values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

TEST_P(PurityTest, AToneStaysWhole) {
    const auto [rate, side] = GetParam();
    launch({}, rate);
    const bool inSpeaker = side == Side::speaker;
    audio().play({inSpeaker ? tone(frequencyHz, 0.5, 14, rate) : silence(14, rate),
                  inSpeaker ? silence(14, rate) : tone(frequencyHz, 0.08, 14, rate)});
    record(file(), 6s);

    const DecodedAudio audio = decoded(file());
    ASSERT_GT(audio.decodedSeconds(), 5.5);
    const auto first = static_cast<std::size_t>(settlingSeconds * audio.sampleRate);
    // The last frames fade where one source ended before the other.
    const std::span<const float> steady =
        std::span(audio.samples).subspan(first, audio.samples.size() - first - 4096);

    const double measuredHz = measuredFrequencyHz(steady, audio.sampleRate, frequencyHz);
    EXPECT_NEAR(measuredHz, frequencyHz, 0.05);
    const std::vector<double> residuals =
        windowResiduals(steady, audio.sampleRate, measuredHz, windowSize);
    const double codecNoise = median(residuals);
    EXPECT_LT(codecNoise, 0.25 * 0.003) << "noise everywhere";
    const auto worst = std::max_element(residuals.begin(), residuals.end());
    EXPECT_LT(*worst, 8 * codecNoise)
        << "discontinuity "
        << settlingSeconds + static_cast<double>((worst - residuals.begin()) *
                                                 static_cast<std::ptrdiff_t>(windowSize)) /
                                 audio.sampleRate
        << " s into the recording";
    std::cout << "frequency " << measuredHz << " Hz, median residual " << codecNoise << ", worst "
              << *worst << "\n";
}

INSTANTIATE_TEST_SUITE_P(LivePath, PurityTest,
                         testing::Combine(testing::Values(48000, 44100),
                                          testing::Values(Side::speaker, Side::microphone)),
                         testName);

}  // namespace
}  // namespace tapwell::test
