#include "Platform/MonoPcm.h"
#include "Platform/macOS/SystemAnalyzer.h"
#include "Platform/macOS/SystemTranscriber.h"
#include "Swift/SpeechScript.h"
#include "Swift/SwiftTasks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace maccheck {
namespace {

using tapwell::RecorderError;
using tapwell::SpeechGate;
using tapwell::SpeechModelStatus;
using tapwell::SpeechResult;
using tapwell::SystemAnalyzer;
using tapwell::SystemTranscriber;

constexpr std::array<float, 2> samples = {0.5F, -0.5F};
/// How long nothing happens before a test fails for it; never waited for when all is well.
constexpr std::chrono::seconds kPatience(60);

/// A transcriber and its analyzer as the recorder has them; what their handlers hear goes to
/// `hear`.
struct Engines {
    explicit Engines(std::function<void(const std::string&)> heard) : hear(std::move(heard)) {}

    void start() const {
        transcriber->setResultHandlers(
            [this](const SpeechResult& result) { hear(result.text + (result.isFinal ? "." : "")); },
            [this](const RecorderError& error) { hear("! " + error.description()); });
        analyzer->start([this](const RecorderError* error) {
            hear(error == nullptr ? "started" : error->description());
        });
    }
    void finalize() const {
        analyzer->finalizeAndFinishThroughEndOfInput([this](const RecorderError* error) {
            hear(error == nullptr ? "finished" : error->description());
        });
    }
    void release() {
        analyzer.reset();
        transcriber.reset();
    }

    const std::function<void(const std::string&)> hear;
    std::shared_ptr<SpeechGate> gate = std::make_shared<SpeechGate>();
    std::shared_ptr<SystemTranscriber> transcriber =
        std::make_shared<SystemTranscriber>("en_US", gate);
    std::shared_ptr<SystemAnalyzer> analyzer = std::make_shared<SystemAnalyzer>(transcriber, gate);
};

/// The host's classes on the bridge that is compiled from Swift.
struct SystemAnalyzerTest : testing::Test {
    SystemAnalyzerTest() {
        fakeSpeechReset();
        engines.emplace([this](const std::string& text) { said.push_back(text); });
    }
    ~SystemAnalyzerTest() override {
        engines.reset();
        tasks.run();
        EXPECT_EQ(fakeSpeechLivingCount(), 0);
    }

    SwiftTasks tasks;
    std::vector<std::string> said;
    std::optional<Engines> engines;
};

TEST_F(SystemAnalyzerTest, TranscribesFromStartToEnd) {
    engines->start();
    tasks.run();
    engines->analyzer->input()->yield(*tapwell::monoFloatBuffer(samples, 16000));
    fakeSpeechSay("hel", false);
    fakeSpeechSay("hello", true);
    tasks.run();
    engines->analyzer->input()->finish();
    engines->finalize();
    tasks.run();
    EXPECT_THAT(said, ElementsAre("started", "hel", "hello.", "the end.", "finished"));
    EXPECT_THAT(speechHeard(), ElementsAre(16383, -16383));
    EXPECT_THAT(speechCalls(),
                ElementsAre("transcriber en_US progressiveTranscription", "analyzer of 1", "start",
                            "heard 2 at 16000", "end of input", "finalize", "finished"));
}

TEST_F(SystemAnalyzerTest, LearnsTheStateOfItsModel) {
    std::vector<SpeechModelStatus> answers;
    for (const std::int32_t status : {0, 1, 2, 3}) {
        fakeSpeechSetStatus(status);
        engines->transcriber->modelStatus(
            [&](SpeechModelStatus answer) { answers.push_back(answer); });
        tasks.run();
    }
    EXPECT_THAT(answers, ElementsAre(SpeechModelStatus::unsupported, SpeechModelStatus::missing,
                                     SpeechModelStatus::missing, SpeechModelStatus::installed));
}

TEST_F(SystemAnalyzerTest, AsksForMonoFloatsAtTheAnalyzersRate) {
    std::optional<tapwell::AudioFormat> format;
    fakeSpeechSetBestSampleRate(16000);
    engines->analyzer->bestAvailableAudioFormat(
        [&](std::optional<tapwell::AudioFormat> best) { format = best; });
    tasks.run();
    EXPECT_EQ(format,
              tapwell::AudioFormat::make(tapwell::CommonFormat::pcmFloat32, 16000, 1, false));
}

TEST_F(SystemAnalyzerTest, TellsOfFailures) {
    fakeSpeechFail("install", "no network");
    fakeSpeechFail("start", "no model");
    engines->transcriber->installModel(
        [this](const RecorderError* error) { said.push_back(error->description()); });
    tasks.run();
    engines->start();
    tasks.run();
    fakeSpeechBreakResults("broken");
    tasks.run();
    EXPECT_THAT(said, ElementsAre("no network", "no model", "! broken"));
}

TEST_F(SystemAnalyzerTest, NothingIsHeardOfAReleasedOne) {
    engines->start();
    engines->analyzer->input()->yield(*tapwell::monoFloatBuffer(samples, 16000));
    engines->release();
    tasks.run();
    EXPECT_THAT(said, IsEmpty());
    EXPECT_THAT(speechCalls(), Contains("cancel").Times(1));
}

TEST(SystemAnalyzerThreadsTest, MayBeReleasedAtAnyMomentOnSwiftsOwnThreads) {
    fakeSpeechReset();
    std::mutex lock;
    std::condition_variable change;
    bool hasStarted = false;
    for (int round = 0; round < 200; ++round) {
        Engines engines([&](const std::string& text) {
            const std::lock_guard hold(lock);
            hasStarted = hasStarted || text == "started";
            change.notify_all();
        });
        engines.start();
        engines.analyzer->input()->yield(*tapwell::monoFloatBuffer(samples, 16000));
        fakeSpeechSay("one", round % 2 == 0);
        if (round % 2 == 1) {
            std::unique_lock hold(lock);
            ASSERT_TRUE(change.wait_for(hold, kPatience, [&] { return hasStarted; }));
        }
        if (round % 4 == 3) engines.finalize();
        engines.gate->close();
        hasStarted = false;
    }
    // Swift lets go of what a task held only after its last call.
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (fakeSpeechLivingCount() > 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_EQ(fakeSpeechLivingCount(), 0);
    EXPECT_THAT(speechCalls(), Contains("cancel").Times(200));
}

}  // namespace
}  // namespace maccheck
