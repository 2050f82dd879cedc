#include "EndToEnd/RecordingTest.h"

#include <gtest/gtest.h>

#include <cmath>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr double frameSize = 1024;

class LengthTest : public RecordingTest,
                   public testing::WithParamInterface<std::chrono::milliseconds> {};

TEST_P(LengthTest, EveryReaderSeesTheSameLength) {
    launch();
    audio().play({tone(300, 0.3, 10, 48000), tone(500, 0.05, 10, 48000)});
    ASSERT_NO_FATAL_FAILURE(start(file()));
    letPass(GetParam());
    const nlohmann::json finalized = tapwell().stop();
    ASSERT_EQ(finalized.value("event", ""), "finalized") << finalized;
    const DecodedAudio audio = decoded(file());

    EXPECT_EQ(audio.codec, "aac");
    EXPECT_EQ(audio.channelCount, 1);
    ASSERT_EQ(audio.sampleRate, 48000);
    ASSERT_TRUE(audio.trackSeconds.has_value());
    ASSERT_TRUE(audio.containerSeconds.has_value());
    // The container counts in milliseconds, the track in samples.
    EXPECT_NEAR(*audio.containerSeconds, *audio.trackSeconds, 0.0011);

    const double promisedSamples = std::round(*audio.trackSeconds * audio.sampleRate);
    const auto decodedSamples = static_cast<double>(audio.samples.size());
    EXPECT_GE(decodedSamples, promisedSamples);
    EXPECT_LT(decodedSamples, promisedSamples + frameSize);

    const double reportedSeconds = finalized["durationMs"].get<double>() / 1000;
    const double askedSeconds = std::chrono::duration<double>(GetParam()).count();
    // Capture runs from before `started` until the stop; how long the start took is not in the
    // file.
    EXPECT_GT(*audio.trackSeconds, askedSeconds - 0.1);
    EXPECT_LT(*audio.trackSeconds, reportedSeconds + 0.03);
    EXPECT_GT(reportedSeconds, askedSeconds);
}

INSTANTIATE_TEST_SUITE_P(Recordings, LengthTest, testing::Values(300ms, 1000ms, 2345ms, 4000ms),
                         [](const auto& test) {
                             return std::to_string(test.param.count()) + "ms";
                         });

}  // namespace
}  // namespace tapwell::test
