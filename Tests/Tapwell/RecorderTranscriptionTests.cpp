#include "Support/SimulatedMeeting.h"
#include "Tapwell/Control/AudioRecorder.h"
#include "Tapwell/Transcription/CreateSpeechProvider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

/// A recorder with the providers that the program has, on simulated engines.
struct TranscribedMeeting : test::SimulatedMeeting {
    std::unique_ptr<AudioRecorder> recorder;

    explicit TranscribedMeeting(const std::map<std::string, std::string>& variables = {}) {
        host.simulatedEnvironment.variables = variables;
    }
    AudioRecorder& make() {
        const SpeechProviderServices services{host.speechEngines(), host.converters(),
                                              host.queues(),        host.clock(),
                                              host.userDefaults(),  host.streams()};
        recorder = std::make_unique<AudioRecorder>(
            recorderServices([services](const std::string& locale, double rate) {
                return createSpeechProvider(services, locale, rate, nullptr);
            }));
        return *recorder;
    }
    const std::vector<float>& heard() const {
        return host.simulatedSpeechEngines.analysis->samples;
    }
};

const std::map<std::string, std::string> kTranscribing{{"TL_RECORDER_STT_ENABLED", "1"}};

TEST(RecorderTranscription, ARecordingIsTheSameWithAndWithoutATranscript) {
    TranscribedMeeting plain;
    plain.make().start(plain.path);
    plain.host.time.advance(3s);
    plain.recorder->stop();

    TranscribedMeeting transcribed(kTranscribing);
    auto& time = transcribed.host.time;
    transcribed.make().start(transcribed.path);
    time.advance(1s);
    transcribed.host.simulatedSpeechEngines.transcription->deliver("hello", false);
    // Recognition hangs for a while, and comes back.
    const auto queue = transcribed.host.simulatedQueues.find("Tapwell.SpeechFeed");
    ASSERT_NE(queue, nullptr);
    queue->setStalled(true);
    time.advance(1s);
    queue->setStalled(false);
    time.advance(1s);
    transcribed.recorder->stop();

    ASSERT_GT(plain.recorded().size(), 130000U);
    EXPECT_EQ(transcribed.recorded(), plain.recorded());
    EXPECT_GT(transcribed.heard().size(), 45000U) << "3 s at 16 kHz, the hang included";
}

TEST(RecorderTranscription, AStopMakesThePartialFinalBeforeTheFileAndNothingComesAfter) {
    TranscribedMeeting meeting(kTranscribing);
    meeting.make().start(meeting.path);
    meeting.host.time.advance(1s);
    const auto transcription = meeting.host.simulatedSpeechEngines.transcription;
    const auto lateResult = transcription->onResult;
    transcription->deliver("half a", false);
    meeting.recorder->stop();
    lateResult({"Half a sentence.", true});
    meeting.host.time.advance(10s);
    EXPECT_THAT(meeting.events(),
                ElementsAre(HasSubstr("\"started\""),
                            "{\"event\":\"transcript\",\"text\":\"half a\",\"isFinal\":false}",
                            "{\"event\":\"transcript\",\"text\":\"half a\",\"isFinal\":true}",
                            HasSubstr("\"finalized\"")));
}

TEST(RecorderTranscription, EverySessionRateIsHeardAtTheAnalyzersRate) {
    for (const double rate : {8000.0, 16000.0, 24000.0, 48000.0}) {
        TranscribedMeeting meeting(kTranscribing);
        meeting.speakerDevice().transportType = kAudioDeviceTransportTypeBluetooth;
        meeting.speakerDevice().format =
            *AudioFormat::make(CommonFormat::pcmFloat32, rate, 1, true);
        meeting.make();
        for (int recording = 0; recording < 2; ++recording) {
            // The first with the provider made at launch, the second with one of its own.
            const std::size_t before = meeting.heard().size();
            meeting.host.simulatedSpeechEngines.analysis->inputFinished = false;
            meeting.recorder->start(meeting.folder.file(std::to_string(recording) + ".m4a"));
            meeting.host.time.advance(4s);
            meeting.recorder->stop();
            const auto samples = static_cast<double>(meeting.heard().size() - before);
            EXPECT_NEAR(samples, 4 * 16000, 4000) << rate << ", recording " << recording;
        }
    }
}

TEST(RecorderTranscription, AStreamHasNone) {
    auto variables = kTranscribing;
    variables["TL_RECORDER_RTMPS_MODE"] = "1";
    TranscribedMeeting meeting(variables);
    meeting.make().start(meeting.path);
    meeting.host.time.advance(1s);
    EXPECT_TRUE(meeting.heard().empty());
    meeting.recorder->stop();
    EXPECT_TRUE(meeting.heard().empty());
}

TEST(RecorderTranscription, AnEngineThatHangsDelaysNeitherLaunchNorStartForLong) {
    TranscribedMeeting meeting(kTranscribing);
    meeting.host.simulatedSpeechEngines.localeCheckHangs = true;
    meeting.host.simulatedSpeechEngines.recognizerLocales.clear();
    const auto before = meeting.host.time.now();
    meeting.make().start(meeting.path);
    EXPECT_LT(meeting.host.time.now() - before, 6s) << "two checks of two seconds, and the devices";
    EXPECT_EQ(meeting.logged("STT: no provider available for locale=en_US"), 1);
    EXPECT_THAT(meeting.events(), ElementsAre(HasSubstr("\"started\"")));
    meeting.recorder->stop();
}

}  // namespace
}  // namespace tapwell
