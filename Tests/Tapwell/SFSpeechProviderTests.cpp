#include "Support/SpeechTestBench.h"
#include "Tapwell/Transcription/SFSpeechProvider.h"
#include "Tapwell/Transcription/SpeechProviderError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

struct SFProvider : testing::Test, test::SpeechTestBench {
    std::shared_ptr<SpeakerAttributor> attributor;
    std::shared_ptr<SFSpeechProvider> provider;

    void make(bool onDevice) {
        engines.recognition->onDevice = onDevice;
        provider = SFSpeechProvider::create(services, "en_US", 16000, attributor);
    }
    void feed(std::size_t count = 160, float value = 0.5F) {
        provider->feedPCM(std::vector<float>(count, value), MediaTime::zero());
    }
    const SimulatedSpeechRecognizer::Task& task(std::size_t index) const {
        return *engines.recognition->tasks.at(index);
    }
    std::size_t taskCount() const { return engines.recognition->tasks.size(); }
};

TEST_F(SFProvider, ALocaleNobodyKnowsFailsConstruction) {
    try {
        SFSpeechProvider::create(services, "tlh", 48000, nullptr);
        ADD_FAILURE() << "made a provider for Klingon";
    } catch (const SpeechProviderError& error) {
        EXPECT_EQ(error.which(), SpeechProviderError::Case::localeNotSupported);
        EXPECT_STREQ(error.what(), "localeNotSupported");
    }
    EXPECT_EQ(taskCount(), 0U);
}

TEST_F(SFProvider, TheFirstRequestStartsAtOnceWithItsOptions) {
    make(true);
    EXPECT_EQ(logged("[Tapwell][mic-debug] SFSpeechProvider initialized: locale=en_US "
                     "onDevice=true\n"),
              1);
    ASSERT_EQ(taskCount(), 1U);
    EXPECT_TRUE(task(0).request->shouldReportPartialResults);
    EXPECT_TRUE(task(0).request->addsPunctuation);
    EXPECT_TRUE(task(0).request->requiresOnDeviceRecognition);
}

TEST_F(SFProvider, OnAServerTheDeviceIsNotDemanded) {
    make(false);
    EXPECT_EQ(logged("onDevice=false\n"), 1);
    EXPECT_FALSE(task(0).request->requiresOnDeviceRecognition);
}

TEST_F(SFProvider, SamplesReachTheRequestAsTheyAre) {
    make(true);
    feed(160, 0.25F);
    provider->feedPCM({}, MediaTime::zero());
    feed(37, -1.0F);
    std::vector<float> expected(160, 0.25F);
    expected.resize(197, -1.0F);
    EXPECT_EQ(task(0).request->samples, expected);
    EXPECT_EQ(task(0).request->sampleRate, 16000);
}

TEST_F(SFProvider, ResultsBecomeEventsAsTheyCome) {
    make(true);
    task(0).deliver("hello", false);
    task(0).deliver("hello world", false);
    task(0).deliver("Hello, world.", true);
    task(0).deliver("next", false);
    EXPECT_THAT(events(),
                ElementsAre(transcript("hello", false), transcript("hello world", false),
                            transcript("Hello, world.", true), transcript("next", false)));
}

TEST_F(SFProvider, AnAttributorLabelsTheSpeaker) {
    attributor = std::make_shared<SpeakerAttributor>();
    make(true);
    task(0).deliver("me", false);
    attributor->updateSystemLevel(std::vector<float>(480, 1.0F));
    task(0).deliver("they", false);
    provider->stop();
    EXPECT_THAT(events(),
                ElementsAre(transcript("me", false, "You"), transcript("they", false, "Others"),
                            transcript("they", true, "Others")));
}

TEST_F(SFProvider, OnTheDeviceARequestLastsHoweverLongTheSession) {
    make(true);
    for (int minute = 0; minute < 120; ++minute) {
        time.advance(1min);
        feed();
    }
    EXPECT_EQ(taskCount(), 1U);
    EXPECT_EQ(task(0).request->samples.size(), 120U * 160U);
}

TEST_F(SFProvider, AServersRequestIsReplacedPastFiftySeconds) {
    make(false);
    task(0).deliver("half a sentence", false);
    time.advance(50s);
    feed();
    EXPECT_EQ(taskCount(), 1U) << "fifty seconds are not more than fifty";
    time.advance(100ms);
    feed(80);
    ASSERT_EQ(taskCount(), 2U);
    EXPECT_TRUE(task(0).request->audioEnded);
    EXPECT_TRUE(task(0).finished);
    EXPECT_EQ(task(0).request->samples.size(), 160U);
    EXPECT_EQ(task(1).request->samples.size(), 80U) << "restarted before the samples were appended";
    EXPECT_THAT(events(), ElementsAre(transcript("half a sentence", false),
                                      transcript("half a sentence", true)));
    EXPECT_EQ(logged("[Tapwell][mic-debug] SFSpeechProvider restarting recognition (server-mode "
                     "1-min limit)\n"),
              1);
    time.advance(50s);
    feed();
    EXPECT_EQ(taskCount(), 2U) << "the fifty seconds count from the new request";
    time.advance(1ns);
    feed();
    EXPECT_EQ(taskCount(), 3U);
    EXPECT_EQ(events().size(), 2U) << "nothing pending, nothing flushed";
}

TEST_F(SFProvider, WhatAReplacedRequestStillSaysIsNotHeardTwice) {
    make(false);
    task(0).deliver("half a", false);
    time.advance(51s);
    feed();
    task(0).deliver("Half a sentence.", true);
    task(1).deliver("next", false);
    EXPECT_THAT(events(), ElementsAre(transcript("half a", false), transcript("half a", true),
                                      transcript("next", false)));
}

TEST_F(SFProvider, StopMakesAPendingPartialFinalExactlyOnce) {
    make(true);
    feed();
    task(0).deliver("half a", false);
    provider->stop();
    provider->stop();
    EXPECT_TRUE(task(0).request->audioEnded);
    EXPECT_TRUE(task(0).finished);
    task(0).deliver("Half a sentence.", true);
    feed();
    EXPECT_THAT(events(), ElementsAre(transcript("half a", false), transcript("half a", true)));
    EXPECT_EQ(task(0).request->samples.size(), 160U) << "fed after the stop";
    EXPECT_EQ(logged("[Tapwell][mic-debug] SFSpeechProvider stopped\n"), 1);
}

TEST_F(SFProvider, StopWithNothingPendingEmitsNothing) {
    make(true);
    provider->stop();
    EXPECT_THAT(events(), IsEmpty());
    make(true);
    task(1).deliver("Done.", true);
    provider->stop();
    EXPECT_THAT(events(), ElementsAre(transcript("Done.", true)));
}

TEST_F(SFProvider, AStoppedServerProviderDoesNotRestart) {
    make(false);
    provider->stop();
    time.advance(2min);
    feed();
    EXPECT_EQ(taskCount(), 1U);
}

TEST_F(SFProvider, AnErrorIsALogLine) {
    make(true);
    task(0).fail(RecorderError("Speech", 203, "Retry"));
    EXPECT_THAT(events(), IsEmpty());
    EXPECT_EQ(logged("[Tapwell][mic-debug] SFSpeechRecognizer error: Retry\n"), 1);
}

TEST_F(SFProvider, ResultsThatComeAfterTheProviderIsGoneAreHarmless) {
    make(true);
    provider.reset();
    task(0).deliver("late", true);
    EXPECT_THAT(events(), IsEmpty());
}

}  // namespace
}  // namespace tapwell
