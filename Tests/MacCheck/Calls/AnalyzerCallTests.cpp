#include "Platform/MonoPcm.h"
#include "Platform/macOS/AnalyzerBridge.h"
#include "Platform/macOS/SystemAnalyzer.h"
#include "Platform/macOS/SystemTranscriber.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <utility>

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

// The functions below the C interface, which are Swift's on the system: they keep what they are
// given until a test answers.
struct TapwellTranscriber {
    std::string locale;
};
struct TapwellAnalyzer {
    /// Samples after which something is dropped.
    static constexpr std::size_t room = 4;
    std::vector<float> heard;
    bool hasEnded = false;
};

namespace {

template <typename Function>
struct Pending {
    void* context = nullptr;
    Function function = nullptr;

    template <typename... Arguments>
    void answer(Arguments... arguments) {
        const Pending call = std::exchange(*this, {});
        ASSERT_NE(call.function, nullptr);
        call.function(call.context, arguments...);
    }
};

struct Bridge {
    Pending<TapwellStatusAnswer> status;
    Pending<TapwellCompletion> install;
    Pending<TapwellFormatAnswer> format;
    Pending<TapwellCompletion> start;
    Pending<TapwellCompletion> finalize;
    void* resultContext = nullptr;
    TapwellResultHandler onResult = nullptr;
    TapwellEndHandler onEnd = nullptr;
    TapwellAnalyzer* analyzer = nullptr;
    int handles = 0;
};

Bridge bridge;

}  // namespace

TapwellTranscriber* tapwellTranscriberCreate(const char* locale) {
    ++bridge.handles;
    return new TapwellTranscriber{locale};
}
void tapwellTranscriberRelease(TapwellTranscriber* transcriber) {
    --bridge.handles;
    delete transcriber;
}
void tapwellTranscriberStatus(TapwellTranscriber*, void* context, TapwellStatusAnswer answer) {
    bridge.status = {context, answer};
}
void tapwellTranscriberInstall(TapwellTranscriber*, void* context, TapwellCompletion completion) {
    bridge.install = {context, completion};
}
void tapwellTranscriberReadResults(TapwellTranscriber*, void* context,
                                   TapwellResultHandler onResult, TapwellEndHandler onEnd) {
    bridge.resultContext = context;
    bridge.onResult = onResult;
    bridge.onEnd = onEnd;
}
TapwellAnalyzer* tapwellAnalyzerCreate(TapwellTranscriber*) {
    ++bridge.handles;
    return bridge.analyzer = new TapwellAnalyzer;
}
void tapwellAnalyzerRelease(TapwellAnalyzer* analyzer) {
    --bridge.handles;
    delete analyzer;
}
void tapwellAnalyzerFormat(TapwellAnalyzer*, void* context, TapwellFormatAnswer answer) {
    bridge.format = {context, answer};
}
bool tapwellAnalyzerYield(TapwellAnalyzer* analyzer, const float* samples, int64_t frames, double) {
    analyzer->heard.insert(analyzer->heard.end(), samples, samples + frames);
    return analyzer->heard.size() > TapwellAnalyzer::room;
}
void tapwellAnalyzerFinishInput(TapwellAnalyzer* analyzer) {
    analyzer->hasEnded = true;
}
void tapwellAnalyzerStart(TapwellAnalyzer*, void* context, TapwellCompletion completion) {
    bridge.start = {context, completion};
}
void tapwellAnalyzerFinalize(TapwellAnalyzer*, void* context, TapwellCompletion completion) {
    bridge.finalize = {context, completion};
}

namespace tapwell {
namespace {

struct AnalyzerCallTest : testing::Test {
    ~AnalyzerCallTest() override {
        analyzer.reset();
        transcriber.reset();
        EXPECT_EQ(bridge.handles, 0);
        bridge = {};
    }

    /// Starts and lets the results be read.
    void start() {
        transcriber->setResultHandlers(
            [this](const SpeechResult& result) {
                said.push_back(result.text + (result.isFinal ? "." : ""));
            },
            [this](const RecorderError& error) { said.push_back("! " + error.description()); });
        analyzer->start([this](const RecorderError* error) {
            said.push_back(error == nullptr ? "started" : error->description());
        });
    }

    std::shared_ptr<SystemAnalyzer> makeAnalyzer() {
        return std::make_shared<SystemAnalyzer>(
            transcriber, gate, [this](const std::string& message) { logged.push_back(message); });
    }

    std::vector<std::string> said;
    std::vector<std::string> logged;
    std::shared_ptr<SpeechGate> gate = std::make_shared<SpeechGate>();
    std::shared_ptr<SystemTranscriber> transcriber =
        std::make_shared<SystemTranscriber>("en_US", gate);
    std::shared_ptr<SystemAnalyzer> analyzer = makeAnalyzer();
};

TEST_F(AnalyzerCallTest, HandsResultsOnInOrder) {
    start();
    bridge.start.answer(nullptr);
    bridge.onResult(bridge.resultContext, "hel", false);
    bridge.onResult(bridge.resultContext, "hello", true);
    bridge.onEnd(bridge.resultContext, nullptr);
    EXPECT_THAT(said, ElementsAre("started", "hel", "hello."));
}

TEST_F(AnalyzerCallTest, TellsOfAFailedStartAndABrokenStream) {
    start();
    bridge.start.answer("no microphone");
    bridge.onEnd(bridge.resultContext, "broken");
    EXPECT_THAT(said, ElementsAre("no microphone", "! broken"));
}

TEST_F(AnalyzerCallTest, NothingIsCalledAfterItsRelease) {
    start();
    analyzer.reset();
    bridge.onResult(bridge.resultContext, "late", true);
    bridge.start.answer(nullptr);
    bridge.onEnd(bridge.resultContext, "cancelled");
    EXPECT_THAT(said, IsEmpty());
}

TEST_F(AnalyzerCallTest, ItMayBeReleasedWithinAResult) {
    transcriber->setResultHandlers(
        [this](const SpeechResult& result) {
            said.push_back(result.text);
            analyzer.reset();
            transcriber.reset();
        },
        nullptr);
    analyzer->start([](const RecorderError*) {});
    bridge.onResult(bridge.resultContext, "one", false);
    bridge.onResult(bridge.resultContext, "two", false);
    bridge.start.answer(nullptr);
    bridge.onEnd(bridge.resultContext, nullptr);
    EXPECT_THAT(said, ElementsAre("one"));
}

TEST_F(AnalyzerCallTest, NothingIsCalledAfterTheEngines) {
    start();
    gate->close();
    bridge.onResult(bridge.resultContext, "late", true);
    bridge.start.answer(nullptr);
    bridge.onEnd(bridge.resultContext, nullptr);
    EXPECT_THAT(said, IsEmpty());
}

TEST_F(AnalyzerCallTest, TranslatesTheStatesOfAModel) {
    std::vector<SpeechModelStatus> answers;
    for (const std::int32_t status : {0, 1, 2}) {
        transcriber->modelStatus([&](SpeechModelStatus answer) { answers.push_back(answer); });
        bridge.status.answer(status);
    }
    EXPECT_THAT(answers, ElementsAre(SpeechModelStatus::unsupported, SpeechModelStatus::missing,
                                     SpeechModelStatus::installed));
}

TEST_F(AnalyzerCallTest, AnInstallationThatNobodyWaitsForIsQuiet) {
    bool isCalled = false;
    transcriber->installModel([&](const RecorderError*) { isCalled = true; });
    analyzer.reset();
    transcriber.reset();
    bridge.install.answer(nullptr);
    EXPECT_FALSE(isCalled);
}

TEST_F(AnalyzerCallTest, AsksForMonoFloatsAtTheAnalyzersRate) {
    std::optional<AudioFormat> format;
    analyzer->bestAvailableAudioFormat([&](std::optional<AudioFormat> best) { format = best; });
    bridge.format.answer(16000.0);
    EXPECT_EQ(format, AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, false));
    analyzer->bestAvailableAudioFormat([&](std::optional<AudioFormat> best) { format = best; });
    bridge.format.answer(0.0);
    EXPECT_EQ(format, std::nullopt);
}

TEST_F(AnalyzerCallTest, PassesAudioOnAndIgnoresItAfterItsRelease) {
    const std::array<float, 2> samples = {0.25f, -0.5f};
    const auto input = analyzer->input();
    input->yield(*monoFloatBuffer(samples, 16000));
    EXPECT_THAT(bridge.analyzer->heard, ElementsAre(0.25f, -0.5f));
    input->finish();
    EXPECT_TRUE(bridge.analyzer->hasEnded);
    analyzer.reset();
    input->yield(*monoFloatBuffer(samples, 16000));
    input->finish();
}

TEST_F(AnalyzerCallTest, SaysOncePerAnalyzerThatSpeechIsLeftOut) {
    const std::array<float, 2> samples = {0.25f, -0.5f};
    for (int count = 1; count <= 2; ++count) {
        analyzer = makeAnalyzer();
        for (int i = 0; i < 2; ++i)
            analyzer->input()->yield(*monoFloatBuffer(samples, 16000));
        EXPECT_EQ(logged.size(), std::size_t(count - 1));
        for (int i = 0; i < 3; ++i)
            analyzer->input()->yield(*monoFloatBuffer(samples, 16000));
        EXPECT_EQ(logged.size(), std::size_t(count));
    }
    EXPECT_THAT(logged, Each("recognition is slower than the speech: some speech is left out"));
}

TEST_F(AnalyzerCallTest, FinishesOnce) {
    int finished = 0;
    analyzer->finalizeAndFinishThroughEndOfInput([&](const RecorderError* error) {
        EXPECT_EQ(error, nullptr);
        ++finished;
    });
    EXPECT_EQ(finished, 0);
    bridge.finalize.answer(nullptr);
    EXPECT_EQ(finished, 1);
}

}  // namespace
}  // namespace tapwell
