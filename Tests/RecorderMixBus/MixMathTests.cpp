#include "RecorderMixBus/MixMath.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace tapwell {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> noise(std::size_t count, float amplitude, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-amplitude, amplitude);
    std::vector<float> samples(count);
    for (float& sample : samples)
        sample = uniform(random);
    return samples;
}

TEST(MixMath, EmptyInputsGiveAnEmptyResult) {
    EXPECT_THAT(MixMath::equalWeightMixAndClip({}, {}), IsEmpty());
    EXPECT_THAT(MixMath::equalWeightMixAndClipWithMicPreamp({}, {}, 6.0F), IsEmpty());
    EXPECT_THAT(MixMath::equalWeightMixAndClipWithMicPreamp({}, {}, kNaN), IsEmpty());
    EXPECT_THAT(MixMath::downmixInterleavedStereoToMono({}), IsEmpty());
}

TEST(MixMath, EqualWeightsKeepEqualSignals) {
    const std::vector<float> system = {1.0F, 0.8F, -1.0F, 0.25F};
    const std::vector<float> mic = {1.0F, 0.8F, -1.0F, -0.75F};
    EXPECT_THAT(MixMath::equalWeightMixAndClip(system, mic),
                ElementsAre(1.0F, 0.8F, -1.0F, -0.25F));
}

TEST(MixMath, TheSumIsClippedWithoutPreamp) {
    EXPECT_THAT(MixMath::equalWeightMixAndClip(std::vector{3.0F, -3.0F}, std::vector{1.0F, 0.5F}),
                ElementsAre(1.0F, -1.0F));
}

TEST(MixMath, ABoostedMicrophoneIsLimitedToHalfOfFullScale) {
    EXPECT_THAT(MixMath::equalWeightMixAndClipWithMicPreamp(std::vector{0.0F, 0.0F},
                                                            std::vector{0.5F, -0.5F}, 6.0F),
                ElementsAre(0.5F, -0.5F));
}

TEST(MixMath, ThePreampIsClampedAndNaNMeansTheUpperBound) {
    const std::vector<float> system = {0.0F};
    const std::vector<float> mic = {0.1F};
    const auto mixed = [&](float preamp) {
        return MixMath::equalWeightMixAndClipWithMicPreamp(system, mic, preamp)[0];
    };
    EXPECT_EQ(mixed(0.2F), mixed(1.0F));
    EXPECT_EQ(mixed(100.0F), mixed(8.0F));
    EXPECT_EQ(mixed(kNaN), mixed(8.0F));
    EXPECT_EQ(mixed(-std::numeric_limits<float>::infinity()), mixed(1.0F));
    EXPECT_FLOAT_EQ(mixed(6.0F), 0.3F);
}

TEST(MixMath, AMicrophoneSampleThatIsNoNumberCountsAsFullScale) {
    EXPECT_THAT(
        MixMath::equalWeightMixAndClipWithMicPreamp(std::vector{0.25F}, std::vector{kNaN}, 6.0F),
        ElementsAre(0.625F));
}

TEST(MixMath, TheMicrophonePartNeverLeavesHalfOfFullScale) {
    const auto mic = noise(1021, 4.0F, 1);
    const std::vector<float> silence(mic.size());
    for (float preamp : {1.0F, 6.0F, 8.0F})
        for (float sample : MixMath::equalWeightMixAndClipWithMicPreamp(silence, mic, preamp))
            EXPECT_LE(std::abs(sample), 0.5F);
}

TEST(MixMath, SplittingABlockChangesNothing) {
    const auto system = noise(1021, 1.5F, 2);
    const auto mic = noise(1021, 1.0F, 3);
    const auto whole = MixMath::equalWeightMixAndClipWithMicPreamp(system, mic, 6.0F);
    std::vector<float> parts;
    for (std::size_t at = 0; at < system.size(); at += 253) {
        const std::size_t count = std::min<std::size_t>(253, system.size() - at);
        const auto part = MixMath::equalWeightMixAndClipWithMicPreamp(
            std::span(system).subspan(at, count), std::span(mic).subspan(at, count), 6.0F);
        parts.insert(parts.end(), part.begin(), part.end());
    }
    EXPECT_EQ(parts, whole);
}

// The samples must be the same on every compiler and host; a fused multiply-add would show here.
TEST(MixMath, RoundsEveryStepByItself) {
    const auto system = noise(4096, 1.0F, 4);
    const auto mic = noise(4096, 0.16F, 5);
    const auto mixed = MixMath::equalWeightMixAndClipWithMicPreamp(system, mic, 7.3F);
    for (std::size_t i = 0; i < mixed.size(); ++i) {
        const volatile float boosted = 7.3F * mic[i];
        const volatile float limited = std::fmin(std::fmax(boosted, -1.0F), 1.0F);
        const volatile float a = system[i] * 0.5F;
        const volatile float b = limited * 0.5F;
        const volatile float sum = a + b;
        ASSERT_EQ(mixed[i], sum) << i;
    }
}

TEST(MixMath, DownmixAveragesThePairs) {
    EXPECT_THAT(MixMath::downmixInterleavedStereoToMono(std::vector{1.0F, 0.0F, -0.5F, -0.5F}),
                ElementsAre(0.5F, -0.5F));
    EXPECT_THAT(MixMath::downmixInterleavedStereoToMono(std::vector{2.0F, 2.0F}),
                ElementsAre(2.0F));
}

TEST(MixMath, AndClipKeepsWhatIsInside) {
    EXPECT_EQ(MixMath::clip(0.999F), 0.999F);
    EXPECT_EQ(MixMath::clip(1.001F), 1.0F);
    EXPECT_EQ(MixMath::clip(-7.0F), -1.0F);
    EXPECT_TRUE(std::isnan(MixMath::clip(kNaN)));
}

TEST(MixMathDeathTest, UnequalLengthsEndTheProcess) {
    EXPECT_DEATH(MixMath::equalWeightMixAndClip(std::vector{1.0F}, {}), "differ in length");
    EXPECT_DEATH(MixMath::equalWeightMixAndClipWithMicPreamp(std::vector{1.0F}, {}, 6.0F),
                 "differ in length");
    EXPECT_DEATH(MixMath::downmixInterleavedStereoToMono(std::vector{1.0F, 2.0F, 3.0F}),
                 "odd number");
}

}  // namespace
}  // namespace tapwell
