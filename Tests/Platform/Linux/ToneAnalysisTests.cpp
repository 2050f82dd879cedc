#include "Support/ToneAnalysis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace tapwell::test {
namespace {

constexpr double kCyclesPerSample = 997.0 / 48000;

TEST(ToneAnalysis, FindsAmplitudePhaseAndOffset) {
    std::vector<float> samples = makeTone(kCyclesPerSample, 4800, 0.25, 1.2);
    for (float& sample : samples)
        sample += 0.125f;
    const ToneFit fit = fitTone(samples, kCyclesPerSample);
    EXPECT_NEAR(fit.amplitude, 0.25, 1e-8);
    EXPECT_NEAR(fit.phaseRadians, 1.2, 1e-7);
    EXPECT_NEAR(fit.offset, 0.125, 1e-8);
    EXPECT_LT(fit.thdPlusNoiseDb(), -135);
}

TEST(ToneAnalysis, MeasuresAKnownDistortion) {
    std::vector<float> samples = makeTone(kCyclesPerSample, 48000, 0.5);
    const std::vector<float> harmonic = makeTone(3 * kCyclesPerSample, 48000, 0.5e-4);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] += harmonic[i];
    EXPECT_NEAR(fitTone(samples, kCyclesPerSample).thdPlusNoiseDb(), -80, 0.01);
}

TEST(ToneAnalysis, SeesNoBreakInASlowlyDriftingTone) {
    std::vector<float> samples(48000);
    double cycles = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * cycles));
        cycles += kCyclesPerSample * (1 + 1e-4 * static_cast<double>(i) / 48000.0);
    }
    EXPECT_LT(worstToneBreakDb(samples, kCyclesPerSample), -110);
}

TEST(ToneAnalysis, SeesALostSampleAndAClick) {
    std::vector<float> lost = makeTone(kCyclesPerSample, 48000);
    lost.erase(lost.begin() + 20000);
    EXPECT_GT(worstToneBreakDb(lost, kCyclesPerSample), -35);
    std::vector<float> clicked = makeTone(kCyclesPerSample, 48000);
    clicked[30000] += 0.001f;
    EXPECT_NEAR(worstToneBreakDb(clicked, kCyclesPerSample), -54, 1);
}

}  // namespace
}  // namespace tapwell::test
