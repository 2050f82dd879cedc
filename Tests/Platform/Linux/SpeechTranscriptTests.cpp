#include "Platform/Linux/PauseDetector.h"
#include "Platform/Linux/SpeechSegment.h"
#include "Platform/Linux/SpeechTranscript.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace tapwell {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// "text" when partial, "text." when final.
std::vector<std::string> shown(const SpeechTranscript::Results& results) {
    std::vector<std::string> texts;
    for (const SpeechResult& result : results)
        texts.push_back(result.text + (result.isFinal ? "." : ""));
    return texts;
}

TEST(SpeechTranscript, APartialHoldsAllThatIsNotFinal) {
    SpeechTranscript transcript;
    EXPECT_THAT(shown(transcript.draftChanged("one")), ElementsAre("one"));
    EXPECT_THAT(shown(transcript.draftChanged("one")), IsEmpty()) << "nothing new";
    EXPECT_THAT(shown(transcript.segmentEnded("one two")), ElementsAre("one two"));
    EXPECT_THAT(shown(transcript.draftChanged("three")), ElementsAre("one two three"));
    EXPECT_THAT(shown(transcript.segmentFinal("One, two.")), ElementsAre("One, two..", "three"));
    EXPECT_THAT(shown(transcript.segmentEnded("three")), IsEmpty());
    EXPECT_THAT(shown(transcript.segmentFinal("Three")), ElementsAre("Three."));
    EXPECT_EQ(transcript.runningSegment(), 2U);
}

TEST(SpeechTranscript, ADraftStandsInForASecondPassThatHeardNothing) {
    SpeechTranscript transcript;
    transcript.draftChanged("one");
    transcript.segmentEnded("one");
    EXPECT_THAT(shown(transcript.segmentFinal("")), ElementsAre("one."));
    EXPECT_THAT(shown(transcript.segmentFinal("more")), IsEmpty()) << "no segment waits";
}

TEST(SpeechTranscript, ADraftThatIsTakenBackIsShownSo) {
    SpeechTranscript transcript;
    transcript.draftChanged("a cough");
    EXPECT_THAT(shown(transcript.segmentEnded("")), ElementsAre(""));
    EXPECT_THAT(shown(transcript.segmentFinal("")), IsEmpty());
}

std::vector<std::int16_t> block(double amplitude) {
    std::vector<std::int16_t> samples(320);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(amplitude * std::sin(0.3 * static_cast<double>(i)));
    return samples;
}

TEST(SpeechSegment, ItRunsFromHalfASecondBeforeTheSpeechToThePause) {
    SpeechSegment segment;
    for (int i = 0; i < 100; ++i)
        EXPECT_FALSE(segment.append(block(0), false));
    EXPECT_FALSE(segment.hasBegun());
    for (int i = 0; i < 50; ++i)
        EXPECT_FALSE(segment.append(block(8000), true));
    EXPECT_TRUE(segment.append(block(0), false));
    const auto samples = segment.take();
    EXPECT_EQ(samples.size(), 8000U + 51U * 320U);
    EXPECT_EQ(samples[7999], 0);
    EXPECT_FALSE(segment.hasBegun());
    EXPECT_THAT(segment.samples(), IsEmpty());
}

TEST(SpeechSegment, SpeechWithoutAPauseIsCutBetweenWordsOrAtFifteenSeconds) {
    const auto secondsUntilCut = [](int dipAt, int dipBlocks) {
        SpeechSegment segment;
        int blocks = 1;
        const auto amplitude = [&] {
            return blocks >= dipAt && blocks < dipAt + dipBlocks ? 100 : 8000;
        };
        while (!segment.append(block(amplitude()), true))
            ++blocks;
        return blocks / 50.0;
    };
    EXPECT_NEAR(secondsUntilCut(0, 0), 15, 0.05);
    EXPECT_NEAR(secondsUntilCut(200, 10), 15, 0.05) << "a dip after 4 s is no place to cut";
    EXPECT_NEAR(secondsUntilCut(400, 10), 8.2, 0.05);
    EXPECT_NEAR(secondsUntilCut(400, 6), 15, 0.05) << "the closure of a consonant";
    EXPECT_NEAR(secondsUntilCut(650, 6), 13.1, 0.05);
}

TEST(PauseDetector, SpeechIsWhatStandsOutOfTheRoom) {
    PauseDetector detector;
    const auto hears = [&](double amplitude, int blocks) {
        bool heard = false;
        for (int i = 0; i < blocks; ++i)
            heard = detector.process(block(amplitude));
        return heard;
    };
    EXPECT_FALSE(hears(100, 100)) << "a room's noise";
    EXPECT_FALSE(hears(3000, 2)) << "a click";
    EXPECT_FALSE(hears(100, 20));
    EXPECT_TRUE(hears(3000, 10));
    EXPECT_TRUE(hears(100, 25)) << "between words";
    EXPECT_FALSE(hears(100, 10));
    EXPECT_FALSE(hears(0, 100));
    EXPECT_TRUE(hears(3000, 10));
    detector.endSegment();
    EXPECT_FALSE(hears(100, 1));
}

}  // namespace
}  // namespace tapwell
