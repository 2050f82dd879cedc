#include "Support/SpeechTestBench.h"
#include "Support/ToneAnalysis.h"
#include "Tapwell/Transcription/SpeechAnalyzerProvider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

struct AnalyzerProvider : testing::Test, test::SpeechTestBench {
    std::shared_ptr<SpeakerAttributor> attributor;
    std::shared_ptr<SpeechAnalyzerProvider> provider;
    std::string locale = "en_US";

    void make(double sampleRate = 16000) {
        provider = SpeechAnalyzerProvider::create(services, locale, sampleRate, attributor);
    }
    void makeReady(double sampleRate = 16000) {
        make(sampleRate);
        time.settle();
        ASSERT_EQ(logged("SpeechAnalyzerProvider ready in"), 1);
    }
    void feed(std::size_t count, float value) {
        provider->feedPCM(std::vector<float>(count, value), MediaTime::zero());
    }
    const std::vector<float>& heard() const { return engines.analysis->samples; }
    void hear(const std::string& text, bool isFinal) const {
        engines.transcription->deliver(text, isFinal);
    }
    /// The log lines, without their prefix.
    std::vector<std::string> logLines() const {
        std::vector<std::string> lines;
        const std::string prefix = "[Tapwell][mic-debug] ";
        for (const std::string& line : host.simulatedStreams.errorLines()) {
            EXPECT_EQ(line.substr(0, prefix.size()), prefix);
            lines.push_back(line.substr(prefix.size(), line.size() - prefix.size() - 1));
        }
        return lines;
    }
};

TEST_F(AnalyzerProvider, ConstructionDoesNotWaitForTheSetUpWhichTimesItsPhases) {
    engines.localeCheckTime = 120ms;
    engines.transcription->modelStatus = SpeechModelStatus::missing;
    engines.transcription->installationTime = 12s;
    engines.analysis->startTime = 1500ms;
    make();
    EXPECT_THAT(logLines(), ElementsAre("SpeechAnalyzerProvider init queued for locale=en_US"));
    for (int i = 0; i < 3; ++i)
        feed(160, 0.1F);
    time.advance(1min);
    EXPECT_THAT(
        logLines(),
        ElementsAre("SpeechAnalyzerProvider init queued for locale=en_US",
                    "SpeechAnalyzer locale check: 120ms", "SpeechAnalyzer init+format: 0ms",
                    "SpeechAnalyzer model not installed for en_US — requesting download",
                    "SpeechAnalyzer model download complete for en_US",
                    "SpeechAnalyzer model check (cold): 12000ms", "SpeechAnalyzer start: 1500ms",
                    "SpeechAnalyzerProvider ready in 13620ms, flushing 3 pending buffers"));
}

TEST_F(AnalyzerProvider, AnUnknownLocaleEndsTheSetUp) {
    locale = "tlh";
    make();
    time.settle();
    EXPECT_THAT(logLines(),
                ElementsAre("SpeechAnalyzerProvider init queued for locale=tlh",
                            "SpeechAnalyzer: locale tlh not supported",
                            "SpeechAnalyzerProvider async setup failed: localeNotSupported"));
    feed(160, 0.1F);
    provider->stop();
    EXPECT_THAT(events(), IsEmpty());
    EXPECT_EQ(engines.analysis->starts, 0);
}

TEST_F(AnalyzerProvider, AModelThatNobodyHasEndsTheSetUp) {
    engines.transcription->modelStatus = SpeechModelStatus::unsupported;
    make();
    time.settle();
    EXPECT_EQ(logged("SpeechAnalyzerProvider async setup failed: modelNotAvailable\n"), 1);
    EXPECT_THAT(host.simulatedUserDefaults.values, IsEmpty());
}

TEST_F(AnalyzerProvider, AModelThatCannotBeFetchedEndsTheSetUpAndIsAskedForAgain) {
    engines.transcription->modelStatus = SpeechModelStatus::missing;
    engines.transcription->installationFails = true;
    for (int run = 1; run <= 2; ++run) {
        make();
        time.settle();
        EXPECT_EQ(logged("SpeechAnalyzerProvider async setup failed: no connection\n"), run);
        EXPECT_EQ(engines.transcription->installations, run);
    }
}

TEST_F(AnalyzerProvider, TheModelIsCheckedOnceForAllRunsAndLocale) {
    makeReady();
    EXPECT_EQ(host.simulatedUserDefaults.values.at("SpeechAnalyzer_ModelInstalled_en-US"), true);
    EXPECT_EQ(logged("SpeechAnalyzer model check (cold): 0ms\n"), 1);
    // The next run of the program on the same machine.
    test::SpeechTestBench nextRun;
    nextRun.host.simulatedUserDefaults.values = host.simulatedUserDefaults.values;
    const auto next = SpeechAnalyzerProvider::create(nextRun.services, "en_US", 16000, nullptr);
    nextRun.time.settle();
    EXPECT_EQ(nextRun.logged("[mic-debug] SpeechAnalyzer model check skipped (cached): 0ms\n"), 1);
    EXPECT_EQ(nextRun.logged("ready in"), 1);
    EXPECT_EQ(nextRun.engines.transcription->statusQueries, 0);
    // Another locale is another model.
    nextRun.engines.transcriberLocales.insert("de_DE");
    const auto german = SpeechAnalyzerProvider::create(nextRun.services, "de_DE", 16000, nullptr);
    nextRun.time.settle();
    EXPECT_EQ(nextRun.engines.transcription->statusQueries, 1);
}

TEST_F(AnalyzerProvider, AnEngineThatDoesNotStartMakesTheNextRunCheckTheModelAgain) {
    engines.analysis->startFails = true;
    make();
    time.settle();
    EXPECT_EQ(logged("SpeechAnalyzerProvider async setup failed: the engine does not start\n"), 1);
    engines.analysis->startFails = false;
    provider.reset();
    makeReady();
    EXPECT_EQ(engines.transcription->statusQueries, 2);
}

TEST_F(AnalyzerProvider, AudioOfASlowSetUpIsDeliveredInOrderUpToThirtySeconds) {
    engines.transcription->modelStatus = SpeechModelStatus::missing;
    engines.transcription->installationTime = 40s;
    make();
    for (int second = 0; second < 35; ++second) {
        feed(16000, static_cast<float>(second));
        time.advance(1s);
    }
    EXPECT_THAT(heard(), IsEmpty());
    time.advance(10s);
    EXPECT_EQ(logged("flushing 30 pending buffers\n"), 1);
    feed(16000, 99);
    ASSERT_EQ(heard().size(), 31U * 16000U);
    for (int second = 0; second < 30; ++second)
        EXPECT_EQ(heard()[static_cast<std::size_t>(second) * 16000], static_cast<float>(second));
    EXPECT_EQ(heard()[30 * 16000], 99) << "the oldest half minute is kept, what came later is lost";
}

TEST_F(AnalyzerProvider, TheCapCountsSamplesAndSkipsOnlyWhatDoesNotFit) {
    engines.analysis->startTime = 10s;
    make();
    feed(479999, 1);
    feed(2, 2);
    feed(1, 3);
    feed(1, 4);
    time.advance(20s);
    ASSERT_EQ(heard().size(), 480000U);
    EXPECT_EQ(heard().back(), 3);
}

TEST_F(AnalyzerProvider, AProviderWhoseSetUpFailedHoldsNoMoreThanTheCap) {
    engines.analysis->startFails = true;
    make();
    for (int second = 0; second < 100; ++second)
        feed(16000, 1);
    time.settle();
    feed(16000, 1);
    provider->stop();
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_EQ(engines.analysis->finalizations, 0);
}

TEST_F(AnalyzerProvider, AudioIsConvertedToTheAnalyzersFormat) {
    makeReady(48000);
    std::vector<float> samples(48000);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] =
            static_cast<float>(0.5 * std::sin(2 * M_PI * 1000 * static_cast<double>(i) / 48000));
    for (std::size_t i = 0; i < samples.size(); i += 1000)
        provider->feedPCM(std::span(samples).subspan(i, 1000), MediaTime::zero());
    EXPECT_EQ(engines.analysis->sampleRate, 16000);
    ASSERT_GT(heard().size(), 15000U) << "all but the filter's delay";
    EXPECT_LE(heard().size(), 16000U);
    const auto part = std::span(heard()).subspan(800, 12800);
    EXPECT_NEAR(test::fitTone(part, 1000.0 / 16000).amplitude, 0.5, 0.001);
}

TEST_F(AnalyzerProvider, AnEngineThatTellsNoFormatGets16000) {
    engines.analysis->format.reset();
    makeReady(48000);
    feed(48000, 0.5F);
    EXPECT_EQ(engines.analysis->sampleRate, 16000);
}

TEST_F(AnalyzerProvider, EqualFormatsAreHandedOnUntouched) {
    makeReady();
    feed(100, 0.3F);
    provider->feedPCM({}, MediaTime::zero());
    EXPECT_EQ(heard(), std::vector<float>(100, 0.3F));
}

TEST_F(AnalyzerProvider, ResultsBecomeEventsAsTheyCome) {
    makeReady();
    hear("hello", false);
    hear("hello world", false);
    hear("Hello, world.", true);
    hear("next", false);
    EXPECT_THAT(events(),
                ElementsAre(transcript("hello", false), transcript("hello world", false),
                            transcript("Hello, world.", true), transcript("next", false)));
}

TEST_F(AnalyzerProvider, AnAttributorLabelsTheSpeaker) {
    attributor = std::make_shared<SpeakerAttributor>();
    makeReady();
    attributor->updateSystemLevel(std::vector<float>(480, 1.0F));
    hear("they", false);
    attributor->updateMicLevel(std::vector<float>(480, 1.0F));
    hear("both alike", true);
    EXPECT_THAT(events(), ElementsAre(transcript("they", false, "Others"),
                                      transcript("both alike", true, "You")));
}

TEST_F(AnalyzerProvider, AResultsStreamThatBreaksOffIsALogLine) {
    makeReady();
    hear("half a", false);
    engines.transcription->onFailure(RecorderError("Speech", 5, "out of memory"));
    EXPECT_EQ(logged("[mic-debug] SpeechAnalyzer results stream error: out of memory\n"), 1);
    feed(160, 0.1F);
    provider->stop();
    EXPECT_THAT(events(), ElementsAre(transcript("half a", false), transcript("half a", true)));
}

TEST_F(AnalyzerProvider, StopMakesAPendingPartialFinalExactlyOnce) {
    makeReady();
    const auto lateResult = engines.transcription->onResult;
    hear("half a", false);
    provider->stop();
    provider->stop();
    EXPECT_TRUE(engines.analysis->inputFinished);
    lateResult({"Half a sentence.", true});
    time.advance(1s);
    lateResult({"Half a sentence.", true});
    EXPECT_THAT(events(), ElementsAre(transcript("half a", false), transcript("half a", true)));
    EXPECT_EQ(engines.analysis->finalizations, 1);
    EXPECT_EQ(engines.transcription->onResult, nullptr) << "the engine may skip what nobody hears";
    EXPECT_EQ(logged("SpeechAnalyzerProvider stopped\n"), 1);
    EXPECT_EQ(logged("finalize failed"), 0);
}

TEST_F(AnalyzerProvider, StopWithNothingPendingEmitsNothing) {
    makeReady();
    hear("All said.", true);
    provider->stop();
    EXPECT_THAT(events(), ElementsAre(transcript("All said.", true)));
}

TEST_F(AnalyzerProvider, AFinalizationThatFailsIsALogLine) {
    engines.analysis->finalizeFails = true;
    makeReady();
    provider->stop();
    provider.reset();
    time.advance(1s);
    EXPECT_EQ(logged("[mic-debug] SpeechAnalyzer finalize failed: cut short\n"), 1);
}

TEST_F(AnalyzerProvider, StopDuringEachPhaseOfTheSetUpEndsIt) {
    engines.localeCheckTime = 10ms;
    engines.transcription->modelStatus = SpeechModelStatus::missing;
    engines.transcription->installationTime = 20ms;
    engines.analysis->startTime = 40ms;
    for (const auto moment : {0ms, 5ms, 15ms, 50ms}) {
        make();
        feed(160, 0.1F);
        time.advance(moment);
        provider->stop();
        feed(160, 0.1F);
        time.advance(1s);
        EXPECT_EQ(logged("ready in"), 0) << moment.count();
        EXPECT_EQ(logged("failed"), 0) << moment.count();
        EXPECT_THAT(heard(), IsEmpty()) << moment.count();
        EXPECT_THAT(events(), IsEmpty()) << moment.count();
        host.simulatedUserDefaults.values.clear();
        engines.transcription->modelStatus = SpeechModelStatus::missing;
    }
}

TEST_F(AnalyzerProvider, AProviderReleasedDuringItsSetUpLeavesNothingBehind) {
    engines.analysis->startTime = 1s;
    make();
    time.advance(500ms);
    provider.reset();
    time.advance(5s);
    EXPECT_EQ(logged("ready in"), 0);
    EXPECT_EQ(logged("failed"), 0);
}

}  // namespace
}  // namespace tapwell
