#include "Platform/macOS/AnalyzerBridge.h"
#include "Swift/SpeechScript.h"
#include "Swift/SwiftTasks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <utility>

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace maccheck {
namespace {

/// Of audio whose length is all that matters.
constexpr std::size_t kFewHertz = 10;

/// The C functions themselves, on the bridge that is compiled from Swift.
struct AnalyzerBridgeTest : testing::TestWithParam<SwiftTasks::Order> {
    AnalyzerBridgeTest() { fakeSpeechReset(); }
    ~AnalyzerBridgeTest() override {
        releaseAll();
        tasks.run();
        EXPECT_EQ(fakeSpeechLivingCount(), 0);
    }

    /// Both handles.
    void make() {
        transcriber = tapwellTranscriberCreate("en_US");
        analyzer = tapwellAnalyzerCreate(transcriber);
    }
    void releaseAnalyzer() {
        if (analyzer != nullptr) tapwellAnalyzerRelease(std::exchange(analyzer, nullptr));
    }
    void releaseAll() {
        releaseAnalyzer();
        if (transcriber != nullptr) tapwellTranscriberRelease(std::exchange(transcriber, nullptr));
    }
    void readResults() { tapwellTranscriberReadResults(transcriber, this, onResult, onEnd); }
    void start() { tapwellAnalyzerStart(analyzer, this, completed); }
    void finalize() { tapwellAnalyzerFinalize(analyzer, this, completed); }
    void install() { tapwellTranscriberInstall(transcriber, this, completed); }
    /// Whether older audio had to go for it.
    bool yield(const std::vector<float>& samples, double sampleRate = 16000) const {
        return tapwellAnalyzerYield(analyzer, samples.data(),
                                    static_cast<std::int64_t>(samples.size()), sampleRate);
    }
    /// Seconds of audio, every sample the same.
    bool yieldSeconds(std::size_t seconds, float sample) const {
        return yield(std::vector<float>(seconds * kFewHertz, sample), kFewHertz);
    }
    /// Learns what audio the system likes best, as the recorder does before it sends any.
    void askForFormat() {
        tapwellAnalyzerFormat(analyzer, this, [](void*, double) {});
        tasks.run();
    }

    static AnalyzerBridgeTest& of(void* context) {
        return *static_cast<AnalyzerBridgeTest*>(context);
    }
    static void completed(void* context, const char* error) {
        of(context).said.push_back(error == nullptr ? "done" : error);
    }
    static void onResult(void* context, const char* text, bool isFinal) {
        of(context).said.push_back(std::string(text) + (isFinal ? "." : "…"));
    }
    static void onEnd(void* context, const char* error) {
        of(context).said.push_back(error == nullptr ? "end" : "end: " + std::string(error));
    }

    SwiftTasks tasks{GetParam()};
    TapwellTranscriber* transcriber = nullptr;
    TapwellAnalyzer* analyzer = nullptr;
    std::vector<std::string> said;
};

INSTANTIATE_TEST_SUITE_P(, AnalyzerBridgeTest,
                         testing::Values(SwiftTasks::Order::oldestFirst,
                                         SwiftTasks::Order::newestFirst),
                         [](const auto& run) {
                             return run.param == SwiftTasks::Order::oldestFirst ? "OldestFirst"
                                                                                : "NewestFirst";
                         });

TEST_P(AnalyzerBridgeTest, IsThereWhereTheSystemIsNewEnough) {
    EXPECT_TRUE(tapwellAnalyzerIsAvailable());
}

TEST_P(AnalyzerBridgeTest, TellsWhichLocalesAreSupported) {
    fakeSpeechSupportLocale("de_DE");
    for (const char* locale : {"de_DE", "en_US"}) {
        tapwellAnalyzerSupportsLocale(locale, this, [](void* context, bool supported) {
            of(context).said.push_back(supported ? "yes" : "no");
        });
        tasks.run();
    }
    EXPECT_THAT(said, ElementsAre("yes", "no"));
}

TEST_P(AnalyzerBridgeTest, MakesATranscriberThatCorrectsItself) {
    make();
    EXPECT_THAT(speechCalls(),
                ElementsAre("transcriber en_US progressiveTranscription", "analyzer of 1"));
}

TEST_P(AnalyzerBridgeTest, NumbersTheStatesOfAModel) {
    make();
    std::vector<std::int32_t> answers;
    for (const std::int32_t status : {0, 1, 2, 3}) {
        fakeSpeechSetStatus(status);
        tapwellTranscriberStatus(transcriber, &answers, [](void* context, std::int32_t answer) {
            static_cast<std::vector<std::int32_t>*>(context)->push_back(answer);
        });
        tasks.run();
    }
    EXPECT_THAT(answers, ElementsAre(0, 1, 1, 2));
    EXPECT_THAT(speechCalls(), Contains("status of 1").Times(4));
}

TEST_P(AnalyzerBridgeTest, InstallsAModel) {
    make();
    fakeSpeechSetStatus(1);
    install();
    tasks.run();
    EXPECT_THAT(said, ElementsAre("done"));
    EXPECT_THAT(speechCalls(), ElementsAre("transcriber en_US progressiveTranscription",
                                           "analyzer of 1", "request for 1", "install"));
}

TEST_P(AnalyzerBridgeTest, AnInstalledModelNeedsNoInstallation) {
    make();
    fakeSpeechSetStatus(3);
    install();
    tasks.run();
    EXPECT_THAT(said, ElementsAre("done"));
    EXPECT_THAT(speechCalls(), Not(Contains("install")));
}

TEST_P(AnalyzerBridgeTest, SaysWhyAModelWasNotInstalled) {
    make();
    fakeSpeechFail("install", "no network: größer");
    install();
    tasks.run();
    fakeSpeechFail("request", "no room");
    install();
    tasks.run();
    EXPECT_THAT(said, ElementsAre("no network: größer", "no room"));
}

TEST_P(AnalyzerBridgeTest, AnInstallationOutlivesItsTranscriber) {
    make();
    install();
    releaseAll();
    tasks.run();
    EXPECT_THAT(said, ElementsAre("done"));
}

TEST_P(AnalyzerBridgeTest, NamesTheRateThatTheAnalyzerLikesBest) {
    make();
    std::vector<double> rates;
    for (const double rate : {16000.0, 0.0}) {
        fakeSpeechSetBestSampleRate(rate);
        tapwellAnalyzerFormat(analyzer, &rates, [](void* context, double answer) {
            static_cast<std::vector<double>*>(context)->push_back(answer);
        });
        tasks.run();
    }
    EXPECT_THAT(rates, ElementsAre(16000, 0));
}

TEST_P(AnalyzerBridgeTest, HandsResultsOnInOrderAndEndsThem) {
    make();
    readResults();
    start();
    tasks.run();
    fakeSpeechSay("hel", false);
    fakeSpeechSay("hello", true);
    tasks.run();
    fakeSpeechSay("wörld", false);
    tasks.run();
    EXPECT_THAT(said, ElementsAre("done", "hel…", "hello.", "wörld…"));
    finalize();
    tasks.run();
    EXPECT_THAT(said, ElementsAre("done", "hel…", "hello.", "wörld…", "the end.", "end", "done"));
}

TEST_P(AnalyzerBridgeTest, TellsOfABrokenStreamOfResults) {
    make();
    readResults();
    tasks.run();
    fakeSpeechSay("one", false);
    fakeSpeechBreakResults("the model is gone");
    fakeSpeechSay("two", false);
    tasks.run();
    EXPECT_THAT(said, ElementsAre("one…", "end: the model is gone"));
}

TEST_P(AnalyzerBridgeTest, HandsAudioOnAsSixteenBits) {
    make();
    start();
    tasks.run();
    yield({0, 0.5F, -0.5F});
    yield({1, -1, 2, -2, 3e38F, NAN, INFINITY});
    yield({});
    tasks.run();
    EXPECT_THAT(speechHeard(),
                ElementsAre(0, 16383, -16383, 32767, -32767, 32767, -32767, 32767, 0, 32767));
    EXPECT_THAT(speechCalls(), Contains("heard 3 at 16000"));
    EXPECT_THAT(speechCalls(), Contains("heard 7 at 16000"));
}

TEST_P(AnalyzerBridgeTest, HandsAudioOnAsFloatsToASystemThatLikesThemBest) {
    make();
    fakeSpeechSetBestFormat(1, 16000, 1, false);
    askForFormat();
    start();
    yield({0, 0.5F, -0.25F, 1e-9F, 1.5F, -3e38F, NAN, INFINITY, -INFINITY});
    tasks.run();
    EXPECT_THAT(speechHeardForms(), ElementsAre("float32 x1"));
    EXPECT_THAT(speechHeard(), ElementsAre(0, 0.5, -0.25, double{1e-9F}, 1, -1, 0, 1, -1));
    EXPECT_THAT(speechCalls(), Contains("heard 9 at 16000"));
}

TEST_P(AnalyzerBridgeTest, FillsEveryChannelAlike) {
    make();
    start();
    for (const bool isInterleaved : {false, true}) {
        for (const std::uint32_t commonFormat : {1U, 3U}) {
            fakeSpeechSetBestFormat(commonFormat, 16000, 2, isInterleaved);
            askForFormat();
            yield({0.5F, -0.5F});
            tasks.run();
        }
    }
    EXPECT_THAT(speechHeardForms(), ElementsAre("float32 x2", "int16 x2", "float32 x2 interleaved",
                                                "int16 x2 interleaved"));
    EXPECT_THAT(speechHeard(), ElementsAre(0.5, 0.5, -0.5, -0.5, 16383, 16383, -16383, -16383,  //
                                           0.5, 0.5, -0.5, -0.5, 16383, 16383, -16383, -16383));
}

TEST_P(AnalyzerBridgeTest, KeepsTheInterleavingThatTheSystemNamesForMono) {
    make();
    fakeSpeechSetBestSampleRate(16000);
    askForFormat();
    start();
    yield({0.5F});
    tasks.run();
    EXPECT_THAT(speechHeardForms(), ElementsAre("int16 x1 interleaved"));
    EXPECT_THAT(speechHeard(), ElementsAre(16383));
}

TEST_P(AnalyzerBridgeTest, SixteenBitMonoRemainsWhereTheSystemNamesAFormThatIsNotWritten) {
    make();
    start();
    yield({0.5F});
    const auto name = [](std::uint32_t commonFormat, std::uint32_t channels) {
        fakeSpeechSetBestFormat(commonFormat, 16000, channels, true);
    };
    for (const std::uint32_t commonFormat : {0U, 2U, 4U}) {
        name(commonFormat, 1);
        askForFormat();
        yield({0.5F});
    }
    name(1, 3);
    askForFormat();
    yield({0.5F});
    name(1, 0);
    askForFormat();
    yield({0.5F});
    fakeSpeechSetBestSampleRate(0);
    askForFormat();
    yield({0.5F});
    tasks.run();
    EXPECT_THAT(speechHeardForms(), AllOf(SizeIs(7), Each("int16 x1")));
    EXPECT_THAT(speechHeard(), AllOf(SizeIs(7), Each(16383)));
}

TEST_P(AnalyzerBridgeTest, AMinuteOfAudioWaitsToBeRead) {
    make();
    for (int second = 0; second < 60; ++second)
        EXPECT_FALSE(yieldSeconds(1, second == 0 ? 1 : 0.5F));
    start();
    tasks.run();
    const auto heard = speechHeard();
    ASSERT_THAT(heard, SizeIs(60 * kFewHertz));
    EXPECT_EQ(heard.front(), 32767);
}

TEST_P(AnalyzerBridgeTest, OfMoreTheNewestHalfStays) {
    make();
    for (int second = 0; second < 60; ++second)
        yieldSeconds(1, static_cast<float>(second) / 32767);
    EXPECT_TRUE(yieldSeconds(1, 60.0F / 32767)) << "the first half goes at once";
    EXPECT_EQ(fakeSpeechLivingCount(), 30 + 2) << "and is released";
    for (int second = 61; second < 91; ++second)
        EXPECT_FALSE(yieldSeconds(1, static_cast<float>(second) / 32767));
    EXPECT_TRUE(yieldSeconds(1, 91.0F / 32767));
    start();
    tasks.run();
    const auto heard = speechHeard();
    ASSERT_THAT(heard, SizeIs(30 * kFewHertz));
    for (std::size_t second = 0; second < 30; ++second)
        EXPECT_EQ(std::lround(heard[second * kFewHertz]), 62 + static_cast<long>(second));
}

TEST_P(AnalyzerBridgeTest, WhatWaitsIsMeasuredInTimeWhateverItsBuffersAre) {
    make();
    for (int i = 0; i < 5900; ++i)
        ASSERT_FALSE(yield({0}, 100));
    const std::vector<float> atAnotherRate(4800, 0.0F);
    EXPECT_FALSE(yield(atAnotherRate, 4800));
    EXPECT_TRUE(yield(atAnotherRate, 4800));
}

TEST_P(AnalyzerBridgeTest, ABufferThatIsTooLongAloneIsHeard) {
    make();
    EXPECT_FALSE(yieldSeconds(61, 0.5F));
    EXPECT_TRUE(yieldSeconds(62, -0.5F));
    start();
    tasks.run();
    EXPECT_THAT(speechHeard(), AllOf(SizeIs(62 * kFewHertz), Each(-16383)));
}

TEST_P(AnalyzerBridgeTest, AudioThatIsReadMakesRoom) {
    make();
    start();
    for (int minute = 0; minute < 3; ++minute) {
        for (int second = 0; second < 60; ++second)
            EXPECT_FALSE(yieldSeconds(1, 0.5F));
        tasks.run();
    }
    EXPECT_THAT(speechHeard(), SizeIs(180 * kFewHertz));
}

TEST_P(AnalyzerBridgeTest, NothingGoesAfterTheEndOfTheInput) {
    make();
    for (int second = 0; second < 60; ++second)
        yieldSeconds(1, 0.5F);
    tapwellAnalyzerFinishInput(analyzer);
    EXPECT_FALSE(yieldSeconds(1, 0.5F));
    start();
    tasks.run();
    EXPECT_THAT(speechHeard(), SizeIs(60 * kFewHertz));
    EXPECT_THAT(speechCalls(), Contains("end of input").Times(1));
}

TEST_P(AnalyzerBridgeTest, AudioWaitsForTheStart) {
    make();
    yield({0.5F});
    yield({-0.5F});
    tasks.run();
    EXPECT_THAT(speechHeard(), IsEmpty());
    start();
    tasks.run();
    EXPECT_THAT(speechHeard(), ElementsAre(16383, -16383));
}

TEST_P(AnalyzerBridgeTest, AudioOfAnImpossibleRateIsLeftOut) {
    make();
    start();
    const float sample = 0.5F;
    tapwellAnalyzerYield(analyzer, &sample, 1, 0);
    tasks.run();
    EXPECT_THAT(speechHeard(), IsEmpty());
}

TEST_P(AnalyzerBridgeTest, NothingIsHeardAfterTheEndOfTheInput) {
    make();
    start();
    yield({0.5F});
    tapwellAnalyzerFinishInput(analyzer);
    yield({-0.5F});
    tapwellAnalyzerFinishInput(analyzer);
    tasks.run();
    EXPECT_THAT(speechHeard(), ElementsAre(16383));
    EXPECT_THAT(speechCalls(), Contains("end of input").Times(1));
}

TEST_P(AnalyzerBridgeTest, SaysWhyItCouldNotStart) {
    make();
    fakeSpeechFail("start", "no such model");
    readResults();
    start();
    tasks.run();
    EXPECT_THAT(said, ElementsAre("no such model"));
    releaseAll();
    tasks.run();
    EXPECT_THAT(said, SizeIs(2)) << "the stream of results has ended, too";
}

TEST_P(AnalyzerBridgeTest, FinalizingEndsTheInputAndHearsAllOfIt) {
    make();
    start();
    tasks.run();
    yield({0.5F});
    finalize();
    yield({-0.5F});
    tasks.run();
    EXPECT_THAT(speechHeard(), ElementsAre(16383));
    EXPECT_THAT(said, ElementsAre("done", "done"));
    EXPECT_THAT(speechCalls(), Contains("finished"));
}

TEST_P(AnalyzerBridgeTest, SaysWhyItCouldNotFinalize) {
    make();
    start();
    tasks.run();
    fakeSpeechFail("finalize", "broken inside");
    finalize();
    tasks.run();
    EXPECT_THAT(said, ElementsAre("done", "broken inside"));
}

TEST_P(AnalyzerBridgeTest, ReleasingCancelsAndEndsTheResultsOnce) {
    make();
    readResults();
    start();
    tasks.run();
    yield({0.5F});
    releaseAll();
    tasks.run();
    EXPECT_THAT(speechCalls(), Contains("cancel").Times(1));
    EXPECT_THAT(said, ElementsAre("done", StartsWith("end")));
    EXPECT_EQ(fakeSpeechLivingCount(), 0);
}

TEST_P(AnalyzerBridgeTest, TheResultsEndAlsoWhereTheSystemLeavesThemOpen) {
    make();
    fakeSpeechFail("cancel", "");
    readResults();
    start();
    tasks.run();
    releaseAll();
    tasks.run();
    EXPECT_THAT(said, ElementsAre("done", StartsWith("end")));
}

TEST_P(AnalyzerBridgeTest, ReleasedAtOnceItIsCancelledAfterItsStart) {
    make();
    readResults();
    start();
    releaseAll();
    tasks.run();
    EXPECT_THAT(speechCalls(), ElementsAre("transcriber en_US progressiveTranscription",
                                           "analyzer of 1", "start", "cancel"));
    EXPECT_THAT(said, SizeIs(2));
    EXPECT_EQ(fakeSpeechLivingCount(), 0);
}

TEST_P(AnalyzerBridgeTest, ReleasedWhileFinalizingItCompletesOnce) {
    make();
    readResults();
    start();
    tasks.run();
    said.clear();
    finalize();
    releaseAll();
    tasks.run();
    std::erase(said, "the end.");
    EXPECT_THAT(said, SizeIs(2)) << "the results and the finalizing";
    EXPECT_THAT(said, Contains(StartsWith("end")).Times(1));
}

TEST_P(AnalyzerBridgeTest, MayBeReleasedWithinAResult) {
    make();
    tapwellTranscriberReadResults(
        transcriber, this,
        [](void* context, const char* text, bool) {
            of(context).said.push_back(text);
            of(context).releaseAll();
        },
        onEnd);
    start();
    tasks.run();
    fakeSpeechSay("one", false);
    tasks.run();
    EXPECT_THAT(said, ElementsAre("done", "one", StartsWith("end")));
}

TEST_P(AnalyzerBridgeTest, WithoutAnythingButHandlesThereIsNothingToEnd) {
    make();
    yield({0.5F});
    releaseAll();
    tasks.run();
    EXPECT_THAT(said, IsEmpty());
}

}  // namespace
}  // namespace maccheck
