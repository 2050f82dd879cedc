#include "Fakes/FakeSystem.h"
#include "Platform/macOS/ConverterResampler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace tapwell {
namespace {

using maccheck::FakeSystem;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kConvert = "-[AVAudioConverter convert]";

std::vector<float> ramp(std::size_t count, float first = 1) {
    std::vector<float> samples(count);
    std::iota(samples.begin(), samples.end(), first);
    return samples;
}

struct ResamplerCallTest : testing::Test {
    ResamplerCallTest() { fake.reset(); }
    ~ResamplerCallTest() override {
        resampler.reset();
        EXPECT_TRUE(fake.isClean()) << fake.liveObjects << " objects left";
        EXPECT_THAT(fake.violations, IsEmpty());
    }

    /// What comes of one call, of which `taken` says how much it took.
    std::vector<float> process(const std::vector<float>& input, std::size_t capacity) {
        std::vector<float> output(capacity, -1.0f);
        FixedRateResampler::Progress progress{77, 77};
        hasSucceeded = resampler->process(input.data(), input.size(), output.data(), capacity,
                                          progress, error);
        taken = progress.consumed;
        output.resize(progress.produced);
        return output;
    }
    std::vector<float> flush(std::size_t capacity) {
        std::vector<float> output(capacity, -1.0f);
        FixedRateResampler::Progress progress{77, 77};
        hasSucceeded = resampler->flush(output.data(), capacity, progress, error);
        EXPECT_EQ(progress.consumed, 0u);
        output.resize(progress.produced);
        return output;
    }

    FakeSystem& fake = FakeSystem::get();
    std::unique_ptr<ConverterResampler> resampler;
    bool hasSucceeded = false;
    std::size_t taken = 0;
    std::string error;
};

TEST_F(ResamplerCallTest, AsksForTheBestQualityBetweenMonoStreams) {
    resampler = ConverterResampler::make(44100, 16000);
    ASSERT_TRUE(resampler);
    EXPECT_THAT(fake.calls, ElementsAre("-[AVAudioFormat init] 44100 Hz, 1 ch",
                                        "-[AVAudioFormat init] 16000 Hz, 1 ch",
                                        "-[AVAudioConverter init] 44100 Hz, 1 ch to 16000 Hz, 1 ch",
                                        "-[AVAudioConverter setSampleRateConverterQuality:] 127"));
}

TEST_F(ResamplerCallTest, IsNoneWithoutAFormatOrAConverter) {
    for (const char* step : {"-[AVAudioFormat init] 44100 Hz, 1 ch",
                             "-[AVAudioFormat init] 16000 Hz, 1 ch", "-[AVAudioConverter init]"}) {
        fake.failures = {{step, -1}};
        EXPECT_FALSE(ConverterResampler::make(44100, 16000)) << step;
        EXPECT_EQ(fake.liveObjects, 0) << step;
    }
    fake.failures.clear();
    EXPECT_FALSE(ConverterResampler::make(0, 16000));
}

TEST_F(ResamplerCallTest, PassesSamplesThroughInOrderAndStaysUsableWhileThereAreNone) {
    resampler = ConverterResampler::make(48000, 48000);
    EXPECT_THAT(process(ramp(5), 100), ElementsAre(1, 2, 3));
    EXPECT_EQ(taken, 5u);
    EXPECT_THAT(process({}, 100), IsEmpty());
    EXPECT_TRUE(hasSucceeded);
    EXPECT_EQ(taken, 0u);
    EXPECT_THAT(process(ramp(2, 6), 100), ElementsAre(4, 5));
    EXPECT_THAT(flush(100), ElementsAre(6, 7));
    EXPECT_THAT(flush(100), IsEmpty());
    EXPECT_TRUE(hasSucceeded);
}

TEST_F(ResamplerCallTest, TakesNothingWhileTheConverterHasEnoughAndKeepsWhatItMayRead) {
    resampler = ConverterResampler::make(48000, 48000);
    EXPECT_THAT(process(ramp(20), 4), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(taken, 20u);
    // The converter reads on in the buffer of the first call.
    EXPECT_THAT(process(ramp(3, 21), 10), ElementsAre(5, 6, 7, 8, 9, 10, 11, 12, 13, 14));
    EXPECT_EQ(taken, 0u);
    EXPECT_THAT(process(ramp(3, 21), 10), ElementsAre(15, 16, 17, 18, 19, 20, 21));
    EXPECT_EQ(taken, 3u);
    EXPECT_THAT(flush(1), ElementsAre(22));
    EXPECT_THAT(flush(1), ElementsAre(23));
}

TEST_F(ResamplerCallTest, ConvertsFromTheFirstRateToTheSecond) {
    resampler = ConverterResampler::make(16000, 48000);
    EXPECT_THAT(process(ramp(4), 100), ElementsAre(1, 1, 1, 2, 2, 2));
    EXPECT_THAT(flush(100), ElementsAre(3, 3, 3, 4, 4, 4));
}

TEST_F(ResamplerCallTest, LimitsWhatItHandsOutAtOnce) {
    resampler = ConverterResampler::make(48000, 48000);
    const std::vector<float> output = process(ramp(70000, 0), 100000);
    EXPECT_EQ(taken, 65536u);
    EXPECT_EQ(output.size(), 65534u);
    EXPECT_THAT(fake.calls, Contains("-[AVAudioPCMBuffer init] 65536").Times(2));
}

TEST_F(ResamplerCallTest, SaysWhatTheConverterSaysOfAnErrorAndGoesOn) {
    resampler = ConverterResampler::make(48000, 48000);
    fake.failures = {{kConvert, -50}};
    EXPECT_THAT(process(ramp(4), 100), IsEmpty());
    EXPECT_FALSE(hasSucceeded);
    EXPECT_EQ(taken, 0u);
    EXPECT_EQ(error, "the converter failed");
    fake.failures.clear();
    EXPECT_THAT(process(ramp(4, 5), 100), ElementsAre(1, 2, 3, 4, 5, 6))
        << "the converter had been handed the first ones";
    EXPECT_TRUE(hasSucceeded);
}

TEST_F(ResamplerCallTest, SaysThatTheSystemGaveNoReason) {
    resampler = ConverterResampler::make(48000, 48000);
    fake.failures = {{kConvert, -1}};
    process(ramp(4), 100);
    EXPECT_FALSE(hasSucceeded);
    EXPECT_EQ(error, "the system gives no reason");
}

TEST_F(ResamplerCallTest, FailsWithoutMemoryForInputOrOutput) {
    resampler = ConverterResampler::make(48000, 48000);
    for (const char* step : {"-[AVAudioPCMBuffer init] 4", "-[AVAudioPCMBuffer init] 100"}) {
        fake.failures = {{step, -1}};
        error.clear();
        EXPECT_THAT(process(ramp(4), 100), IsEmpty());
        EXPECT_FALSE(hasSucceeded) << step;
        EXPECT_EQ(taken, 0u) << step;
        EXPECT_EQ(error, "no memory for a conversion");
    }
    EXPECT_THAT(flush(100), IsEmpty());
    EXPECT_FALSE(hasSucceeded);
    EXPECT_THAT(fake.calls, Each(testing::Ne(kConvert)));
}

}  // namespace
}  // namespace tapwell
