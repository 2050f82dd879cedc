#include "Platform/macOS/AnalyzerBridge.h"
#include "Swift/SpeechScript.h"
#include "Swift/SwiftTasks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <utility>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace maccheck {
namespace {

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
    void yield(const std::vector<float>& samples) const {
        tapwellAnalyzerYield(analyzer, samples.data(), static_cast<std::int64_t>(samples.size()),
                             16000);
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
