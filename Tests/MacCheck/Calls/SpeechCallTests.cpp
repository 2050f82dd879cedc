#include "Fakes/FakeSpeech.h"
#include "Fakes/FakeSystem.h"
#include "Platform/MonoPcm.h"
#include "Platform/macOS/SystemSpeechRecognizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace tapwell {
namespace {

using maccheck::FakeSystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

struct SpeechCallTest : testing::Test {
    SpeechCallTest() {
        fake.reset();
        recognizer = SystemSpeechRecognizer::make("en_US", gate);
        request = recognizer->makeRequest();
    }
    ~SpeechCallTest() override {
        task.reset();
        request.reset();
        recognizer.reset();
        fake.drain();
        EXPECT_THAT(fake.violations, IsEmpty());
        EXPECT_EQ(maccheck::runningTaskCount(), 0u);
        EXPECT_TRUE(fake.isClean()) << fake.liveObjects << " references left";
    }

    std::shared_ptr<SpeechRecognitionTask> startTask() {
        return recognizer->startTask(
            request, [this](const SpeechResult* result, const RecorderError* error) {
                queue = fake.runningQueue;
                if (result != nullptr) said.push_back(result->text + (result->isFinal ? "." : ""));
                if (error != nullptr)
                    said.push_back("! " + error->domain() + ' ' + std::to_string(error->code()) +
                                   ' ' + error->description());
                if (inHandler) inHandler();
            });
    }
    /// Starts, and lets the user answer.
    void start() {
        task = startTask();
        fake.drain();
    }
    void append(float first, float second) {
        const std::array<float, 2> samples = {first, second};
        request->append(*monoFloatBuffer(samples, 16000));
    }

    FakeSystem& fake = FakeSystem::get();
    std::shared_ptr<SpeechGate> gate = std::make_shared<SpeechGate>();
    std::shared_ptr<SystemSpeechRecognizer> recognizer;
    std::shared_ptr<SpeechRecognitionRequest> request;
    std::shared_ptr<SpeechRecognitionTask> task;
    std::vector<std::string> said;
    std::function<void()> inHandler;
    dispatch_queue_t queue = nullptr;
};

TEST_F(SpeechCallTest, HasAQueueOfItsOwnForResultsOneAtATime) {
    EXPECT_THAT(fake.calls, ElementsAre("-[SFSpeechRecognizer init] \"en_US\"",
                                        "-[SFSpeechRecognizer setQueue:] "
                                        "\"Tapwell.SystemSpeechRecognizer.Results\" of 1"));
}

TEST_F(SpeechCallTest, IsNoneForALocaleThatTheSystemHasNot) {
    fake.failures = {{"-[SFSpeechRecognizer init] \"xx\"", -1}};
    EXPECT_FALSE(SystemSpeechRecognizer::make("xx", gate));
    EXPECT_FALSE(SystemSpeechRecognizer::make("\xFF", gate)) << "no UTF-8";
}

TEST_F(SpeechCallTest, TellsWhatTheRecognizerIs) {
    EXPECT_TRUE(recognizer->isAvailable());
    EXPECT_TRUE(recognizer->supportsOnDeviceRecognition());
    fake.recognizerIsAvailable = false;
    EXPECT_FALSE(recognizer->isAvailable());
    fake.recognizerIsAvailable = true;
    fake.recognizerIsOnDevice = false;
    const auto other = SystemSpeechRecognizer::make("xx", gate);
    EXPECT_TRUE(other->isAvailable());
    EXPECT_FALSE(other->supportsOnDeviceRecognition());
}

TEST_F(SpeechCallTest, AsksTheUserFirstAndHandsResultsOnInOrder) {
    fake.calls.clear();
    task = startTask();
    EXPECT_THAT(fake.calls, ElementsAre("+[SFSpeechRecognizer requestAuthorization:]"));
    fake.drain();
    EXPECT_EQ(fake.speechPrompts, 1);
    EXPECT_EQ(fake.calls.back(), "-[SFSpeechRecognizer recognitionTask] partial");
    maccheck::say("hel", false);
    maccheck::say("hello", true);
    EXPECT_THAT(said, IsEmpty()) << "they come on a queue";
    fake.drain();
    EXPECT_THAT(said, ElementsAre("hel", "hello."));
    EXPECT_NE(queue, nullptr);
}

TEST_F(SpeechCallTest, AResultMayHaveNoText) {
    start();
    maccheck::say("", true);
    fake.drain();
    EXPECT_THAT(said, ElementsAre("."));
}

TEST_F(SpeechCallTest, PromptsOnce) {
    start();
    const auto second = startTask();
    fake.drain();
    EXPECT_EQ(fake.speechPrompts, 1);
    EXPECT_EQ(maccheck::runningTaskCount(), 2u);
}

TEST_F(SpeechCallTest, WithoutLeaveTheTaskFailsWithItsOwnError) {
    fake.speechAnswer = 1;
    start();
    EXPECT_THAT(said, ElementsAre("! Speech 1700 the user has not allowed it"));
}

TEST_F(SpeechCallTest, SetsTheOptionsOfTheRequest) {
    request->shouldReportPartialResults = false;
    start();
    EXPECT_EQ(fake.calls.back(), "-[SFSpeechRecognizer recognitionTask] final");
    request = recognizer->makeRequest();
    request->addsPunctuation = true;
    start();
    EXPECT_EQ(fake.calls.back(), "-[SFSpeechRecognizer recognitionTask] partial, punctuation");
    request = recognizer->makeRequest();
    request->requiresOnDeviceRecognition = true;
    start();
    EXPECT_EQ(fake.calls.back(), "-[SFSpeechRecognizer recognitionTask] partial, on the device");
}

TEST_F(SpeechCallTest, CollectsAudioFromTheBeginningAndIgnoresItAfterItsEnd) {
    append(0.25f, -0.5f);
    start();
    append(1, 2);
    request->append(*PcmBuffer::withCapacity(
        *AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, false), 10));  // no frames
    request->endAudio();
    append(3, 4);
    request->endAudio();
    std::erase_if(fake.calls, [](const std::string& call) {
        return call.find("BufferRecognitionRequest") == std::string::npos;
    });
    EXPECT_THAT(fake.calls,
                ElementsAre("-[SFSpeechAudioBufferRecognitionRequest append] "
                            "16000 Hz, 1 ch: 0.25 -0.5",
                            "-[SFSpeechAudioBufferRecognitionRequest append] 16000 Hz, 1 ch: 1 2",
                            "-[SFSpeechAudioBufferRecognitionRequest endAudio]"));
}

TEST_F(SpeechCallTest, AudioThatThereIsNoMemoryForIsLeftOut) {
    for (const char* step : {"-[AVAudioFormat init]", "-[AVAudioPCMBuffer init]"}) {
        fake.failures = {{step, -1}};
        append(1, 2);
    }
    EXPECT_THAT(fake.calls, Not(Contains(StartsWith("-[SFSpeechAudio"))));
}

TEST_F(SpeechCallTest, NothingFollowsAnError) {
    start();
    maccheck::sayAndFail("half", 1101, "the server is gone");
    maccheck::failTasks(1, "unheard");
    fake.drain();
    EXPECT_THAT(said, ElementsAre("half", "! Speech 1101 the server is gone"));
}

TEST_F(SpeechCallTest, WhatTheSystemSaysAfterAnErrorIsNotHandedOn) {
    start();
    // Both are on their way before the first arrives.
    maccheck::say("one", false);
    maccheck::failTasks(203, "retry");
    fake.drain();
    fake.calls.clear();
    task.reset();
    fake.drain();
    EXPECT_THAT(said, ElementsAre("one", "! Speech 203 retry"));
}

TEST_F(SpeechCallTest, FinishesOnceItHasBegun) {
    task = startTask();
    task->finish();
    EXPECT_THAT(fake.calls, Not(Contains("-[SFSpeechRecognitionTask finish]")));
    fake.drain();
    EXPECT_EQ(fake.calls.back(), "-[SFSpeechRecognitionTask finish]");
    maccheck::say("the rest", true);
    fake.drain();
    EXPECT_THAT(said, ElementsAre("the rest."));
    task->finish();
    EXPECT_THAT(fake.calls, Contains("-[SFSpeechRecognitionTask finish]").Times(2));
}

TEST_F(SpeechCallTest, ReleasedBeforeTheAnswerItNeverBegins) {
    start();
    fake.calls.clear();
    auto late = startTask();
    late.reset();
    recognizer.reset();
    request.reset();
    fake.drain();
    EXPECT_THAT(fake.calls, ElementsAre("+[SFSpeechRecognizer requestAuthorization:]"));
    EXPECT_EQ(maccheck::runningTaskCount(), 1u);
}

TEST_F(SpeechCallTest, CancelsWhenReleasedAndCallsNothingAfterwards) {
    start();
    maccheck::say("on its way", true);
    task.reset();
    EXPECT_EQ(fake.calls.back(), "-[SFSpeechRecognitionTask cancel]");
    EXPECT_EQ(maccheck::runningTaskCount(), 0u);
    fake.drain();
    EXPECT_THAT(said, IsEmpty()) << "neither what was said nor that it was cancelled";
}

TEST_F(SpeechCallTest, ItMayBeReleasedWithinAResult) {
    start();
    inHandler = [this] { task.reset(); };
    maccheck::say("one", false);
    maccheck::say("two", false);
    fake.drain();
    EXPECT_THAT(said, ElementsAre("one"));
}

TEST_F(SpeechCallTest, NothingIsCalledAfterTheEngines) {
    start();
    maccheck::say("late", true);
    gate->close();
    fake.drain();
    EXPECT_THAT(said, IsEmpty());
}

TEST_F(SpeechCallTest, TheHandlerGoesWithTheTask) {
    const auto held = std::make_shared<int>();
    task = recognizer->startTask(request, [held](const SpeechResult*, const RecorderError*) {});
    fake.drain();
    EXPECT_GT(held.use_count(), 1);
    task.reset();
    fake.drain();
    EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace tapwell
