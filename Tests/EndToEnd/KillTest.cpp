#include "EndToEnd/RecordingTest.h"
#include "Support/MultiToneFit.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <numbers>
#include <span>
#include <vector>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr double mostLostSeconds = 0.25;
constexpr double sweepStartHz = 500;
constexpr double sweepHzPerSecond = 400;
// Two cycles of the server, which a busy machine may cost.
constexpr double placeToleranceSeconds = 0.045;

/// A tone that rises steadily: its frequency tells when it was played.
std::vector<float> sweep(double peak, double seconds, int sampleRate) {
    std::vector<float> samples = silence(seconds, sampleRate);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const double time = static_cast<double>(index) / sampleRate;
        const double turns = sweepStartHz * time + sweepHzPerSecond * time * time / 2;
        samples[index] = static_cast<float>(peak * std::sin(2 * std::numbers::pi * turns));
    }
    return samples;
}

/// The sweep's frequency in a short stretch: the one that explains the samples best.
double sweepFrequencyHz(std::span<const float> samples, double sampleRate) {
    double bestHz = 0;
    double leastResidual = 1;
    for (double frequency = sweepStartHz; frequency < 3000; frequency += 4) {
        const double residual =
            MultiToneFit::of(samples, sampleRate, std::span(&frequency, 1)).residualRms;
        if (residual < leastResidual) {
            leastResidual = residual;
            bestHz = frequency;
        }
    }
    return bestHz;
}

/// A recorder killed so long after `started`.
class KillTest : public RecordingTest,
                 public testing::WithParamInterface<std::chrono::milliseconds> {};

TEST_P(KillTest, LosesAtMostAQuarterOfASecond) {
    launch();
    audio().play({sweep(0.4, 15, 48000), silence(15, 48000)});
    ASSERT_NO_FATAL_FAILURE(start(file()));
    const auto started = std::chrono::steady_clock::now();
    letPass(GetParam());
    const auto killed = std::chrono::steady_clock::now();
    tapwell().signal(SIGKILL);
    const auto ending = tapwell().waitForEnd();
    ASSERT_TRUE(ending.has_value());
    ASSERT_EQ(ending->signal, SIGKILL);

    const DecodedAudio audio = decoded(file());
    // Capture runs before `started` is said, so at least so much had been captured.
    const double capturedSeconds = std::chrono::duration<double>(killed - started).count();
    const double keptSeconds =
        audio.samples.empty() ? 0 : static_cast<double>(audio.samples.size()) / 48000;
    EXPECT_GT(keptSeconds, capturedSeconds - mostLostSeconds);
    std::cout << "captured " << capturedSeconds << " s, kept " << keptSeconds << " s\n";

    // What is there is what was played, second for second.
    const std::size_t window = 1200;
    const std::size_t edge = 4800;
    if (audio.samples.size() < 2 * edge + 2 * window) return;
    const std::span<const float> samples = std::span(audio.samples);
    const double firstHz = sweepFrequencyHz(samples.subspan(edge, window), 48000);
    const double lastHz =
        sweepFrequencyHz(samples.subspan(samples.size() - edge - window, window), 48000);
    const double seconds = static_cast<double>(samples.size() - 2 * edge - window) / 48000;
    EXPECT_NEAR(lastHz - firstHz, sweepHzPerSecond * seconds,
                sweepHzPerSecond * placeToleranceSeconds);
}

std::vector<std::chrono::milliseconds> killMoments() {
    std::vector<std::chrono::milliseconds> moments;
    for (int index = 0; index < 20; ++index)
        moments.push_back(100ms + index * 2900ms / 19);
    return moments;
}

INSTANTIATE_TEST_SUITE_P(Moments, KillTest, testing::ValuesIn(killMoments()), [](const auto& test) {
    return std::to_string(test.param.count()) + "ms";
});

}  // namespace
}  // namespace tapwell::test
