#include "Support/FramedStream.h"
#include "Support/SimulatedMeeting.h"
#include "Support/ToneAnalysis.h"
#include "Tapwell/Control/AudioRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct ScriptedProvider final : SpeechRecognitionProvider {
    double rate = 0;
    std::size_t fed = 0;
    bool stopped = false;

    std::string typeName() const override { return "ScriptedProvider"; }
    void feedPCM(std::span<const float> samples, MediaTime) override {
        EXPECT_FALSE(stopped);
        fed += samples.size();
    }
    void stop() override { stopped = true; }
};

struct Recorder : testing::Test, test::SimulatedMeeting {
    std::vector<std::shared_ptr<ScriptedProvider>> providers;
    bool providerAvailable = true;
    std::unique_ptr<AudioRecorder> recorder;

    AudioRecorder& make() {
        recorder = std::make_unique<AudioRecorder>(recorderServices(
            [this](const std::string& locale, double rate) -> std::shared_ptr<ScriptedProvider> {
                EXPECT_EQ(locale, "en_US");
                if (!providerAvailable) return nullptr;
                providers.push_back(std::make_shared<ScriptedProvider>());
                providers.back()->rate = rate;
                return providers.back();
            }));
        return *recorder;
    }
    void record(std::chrono::nanoseconds duration) {
        recorder->start(path);
        host.time.advance(duration);
        recorder->stop();
    }
    std::string started() const {
        return "{\"event\":\"started\",\"outputPath\":\"" + escaped(path) + "\"}";
    }
    static std::string error(const std::string& code, const std::string& message) {
        return "{\"event\":\"error\",\"code\":\"" + code + "\",\"message\":\"" + message + "\"}";
    }
    void expectIdleWithNothingLeft() {
        EXPECT_FALSE(recorder->isRecording());
        EXPECT_EQ(host.hardware.liveTaps(), 0U);
        EXPECT_EQ(host.hardware.liveAggregates(), 0U);
        EXPECT_EQ(host.hardware.runningProcedures(), 0U);
        EXPECT_EQ(host.hardware.listenerCount(), 0U);
    }
};

TEST_F(Recorder, RecordsBothSourcesMixed) {
    make();
    record(2s);
    const auto& samples = recorded();
    ASSERT_GT(samples.size(), 90000U);
    const auto part = std::span(samples).subspan(4800, 81600);
    EXPECT_NEAR(test::fitTone(part, 997.0 / 48000).amplitude, 0.25, 0.001);
    EXPECT_NEAR(test::fitTone(part, 440.0 / 48000).amplitude, 0.15, 0.001);
    EXPECT_EQ(events().front(), started());
    EXPECT_THAT(events().back(), HasSubstr("{\"event\":\"finalized\",\"outputPath\":\"" +
                                           escaped(path) + "\",\"bytes\":"));
    expectIdleWithNothingLeft();
}

TEST_F(Recorder, WithoutMicrophoneSamplesTheSystemPassesAtFullGain) {
    microphoneDevice().deliversNothing = true;
    make();
    record(2s);
    const auto part = std::span(recorded()).subspan(4800, 81600);
    EXPECT_NEAR(test::fitTone(part, 997.0 / 48000).amplitude, 0.5, 0.001);
}

TEST_F(Recorder, ALateDeviceDoesNotShiftTheStreamsAgainstEachOther) {
    // A pulse in both at the same moments; its edges must land on the same samples.
    const auto click = [](double seconds) { return std::fmod(seconds, 0.5) < 0.002 ? 1.0F : 0.0F; };
    for (const auto& [systemLate, micLate] :
         std::vector<std::pair<std::chrono::milliseconds, std::chrono::milliseconds>>{
             {0ms, 0ms}, {0ms, 200ms}, {200ms, 0ms}, {0ms, 1400ms}, {700ms, 30ms}}) {
        test::SimulatedMeeting meeting;
        meeting.speakerDevice().signal = click;
        meeting.speakerDevice().startLatency = systemLate;
        meeting.microphoneDevice().signal = [&](double t) { return click(t) * 0.05F; };
        meeting.microphoneDevice().startLatency = micLate;
        meeting.microphoneDevice().framesPerCycle = 441;
        meeting.speakerDevice().framesPerCycle = 2048;
        meeting.host.simulatedEnvironment.variables["TL_MACOS_UPLOAD_STEREO_LR"] = "1";
        AudioRecorder pair(meeting.recorderServices());
        pair.start(meeting.path);
        meeting.host.time.advance(3s);
        pair.stop();
        const auto left = edges(meeting.recorded(), 0);
        const auto right = edges(meeting.recorded(), 1);
        ASSERT_GE(left.size(), 4U);
        ASSERT_EQ(left.size(), right.size()) << systemLate.count() << " " << micLate.count();
        for (std::size_t i = 0; i < left.size(); ++i)
            EXPECT_NEAR(left[i], right[i], 1) << systemLate.count() << " " << micLate.count();
    }
}

TEST_F(Recorder, ASecondStartIsRefusedAndLeavesTheRecordingAlone) {
    make().start(path);
    host.time.advance(500ms);
    const auto calls = host.hardware.journal().size();
    recorder->start(folder.file("other.m4a"));
    EXPECT_THAT(events(), ElementsAre(started(), error("RECORDER_ALREADY_RUNNING",
                                                       "Recording already in progress")));
    EXPECT_EQ(host.hardware.journal().size(), calls);
    host.time.advance(500ms);
    recorder->stop();
    EXPECT_NEAR(static_cast<double>(recorded().size()), 48000, 2000);
}

TEST_F(Recorder, StopWhileIdleEmitsNothing) {
    make().stop();
    EXPECT_THAT(events(), IsEmpty());
    EXPECT_THAT(host.hardware.journal(), IsEmpty());
}

TEST_F(Recorder, TheDurationIsCutOffToMilliseconds) {
    make().start(path);
    // The start itself waited for the first cycle of both devices.
    host.time.advance(1999900us - 10ms);
    recorder->stop();
    EXPECT_THAT(events().back(), HasSubstr("\"durationMs\":1999}"));
}

TEST_F(Recorder, TheSizeIsThatOfTheFile) {
    make().start(path);
    host.time.advance(100ms);
    std::ofstream(path) << "seven..";
    recorder->stop();
    EXPECT_THAT(events().back(), HasSubstr("\"bytes\":7,"));
    EXPECT_EQ(logged("after finishWriting: upload path=" + path + " exists=true sizeBytes=7"), 1);
}

TEST_F(Recorder, AFileThatCannotBeReadHasNoSize) {
    make().start(path);
    host.time.advance(100ms);
    std::filesystem::remove(path);
    recorder->stop();
    EXPECT_THAT(events().back(), HasSubstr("\"bytes\":0,"));
    EXPECT_EQ(logged("exists=false sizeBytes=0"), 1);
}

TEST_F(Recorder, TheMicrophoneStopsBeforeTheTap) {
    make().start(path);
    host.time.advance(100ms);
    const auto before = host.hardware.journal().size();
    recorder->stop();
    const auto& journal = host.hardware.journal();
    EXPECT_THAT(std::vector(journal.begin() + static_cast<std::ptrdiff_t>(before), journal.end()),
                ElementsAre("removePropertyListener", "removePropertyListener", "stopDevice",
                            "destroyIOProcID", "stopDevice", "destroyIOProcID",
                            "destroyAggregateDevice", "destroyProcessTap"));
}

TEST_F(Recorder, EveryStepOfAStartThatFailsIsReportedAndUndone) {
    struct Case {
        std::function<void(SimulatedHost&)> spoil;
        std::string code;
        std::string message;
    };
    const OSStatus denied = kAudioDevicePermissionsError;
    const std::string permission =
        "System audio capture permission required. Open System Settings → Privacy & Security, "
        "find system audio capture for Tolvane or tapwell, enable it, then restart the app.";
    const std::vector<Case> cases = {
        {[](auto& h) { h.hardware.failNext("createProcessTap", -5); }, "RECORDER_START_FAILED",
         "audio tap create OSStatus -5"},
        {[=](auto& h) { h.hardware.failNext("createProcessTap", denied); },
         "PERMISSION_DENIED_SYSTEM_AUDIO", permission},
        {[=](auto& h) { h.hardware.failNext("createAggregateDevice", denied); },
         "PERMISSION_DENIED_SYSTEM_AUDIO", permission},
        {[](auto& h) { h.hardware.setDefaultOutput(std::nullopt); }, "RECORDER_START_FAILED",
         "default output device missing"},
        {[](auto& h) { h.hardware.setDefaultInput(std::nullopt); }, "RECORDER_START_FAILED",
         "No default input device available"},
        {[](auto& h) { h.hardware.failNext("startDevice", -9); }, "RECORDER_START_FAILED",
         "AudioDeviceStart failed: OSStatus -9"},
        {[](auto& h) { h.writers.script.makeWriterFails = true; }, "RECORDER_START_FAILED",
         "simulated refusal"},
    };
    for (const Case& failing : cases) {
        test::SimulatedMeeting meeting;
        AudioRecorder failed(meeting.recorderServices());
        failing.spoil(meeting.host);
        failed.start(meeting.path);
        ASSERT_EQ(meeting.events().size(), 1U) << failing.message;
        EXPECT_THAT(meeting.events()[0], HasSubstr("\"code\":\"" + failing.code + "\""));
        EXPECT_THAT(meeting.events()[0], HasSubstr(failing.message));
        EXPECT_FALSE(failed.isRecording());
        EXPECT_EQ(meeting.host.hardware.liveTaps(), 0U) << failing.message;
        EXPECT_EQ(meeting.host.hardware.liveAggregates(), 0U) << failing.message;
        EXPECT_EQ(meeting.host.hardware.runningProcedures(), 0U) << failing.message;
        EXPECT_EQ(meeting.host.hardware.listenerCount(), 0U) << failing.message;
        EXPECT_FALSE(std::filesystem::exists(meeting.path)) << failing.message;

        meeting.host.writers.script.makeWriterFails = false;
        meeting.host.hardware.setDefaultOutput(meeting.speaker);
        meeting.host.hardware.setDefaultInput(meeting.microphone);
        failed.start(meeting.path);
        EXPECT_THAT(meeting.events().back(), HasSubstr("started")) << failing.message;
    }
}

TEST_F(Recorder, ATapThatCannotBeStartedForPermissionIsReportedSo) {
    make();
    // The first device to start is the microphone, the second the tap.
    host.hardware.failNext("startDevice", noErr);
    host.hardware.failNext("startDevice", kAudioDevicePermissionsError);
    recorder->start(path);
    EXPECT_THAT(events().back(), HasSubstr("\"code\":\"PERMISSION_DENIED_SYSTEM_AUDIO\""));
    expectIdleWithNothingLeft();
}

TEST_F(Recorder, AnExistingFileIsNeitherOverwrittenNorRemoved) {
    std::ofstream(path) << "the only copy";
    make().start(path);
    EXPECT_THAT(events(), ElementsAre(error("RECORDER_START_FAILED",
                                            "Cannot create recording file \\\"" + escaped(path) +
                                                "\\\": File exists")));
    std::string content;
    std::getline(std::ifstream(path), content);
    EXPECT_EQ(content, "the only copy");
    expectIdleWithNothingLeft();
}

TEST_F(Recorder, ARefusedMicrophoneStartsNothing) {
    host.simulatedAuthorization.microphone = 2;
    make().start(path);
    ASSERT_EQ(events().size(), 1U);
    EXPECT_THAT(events()[0], HasSubstr("RECORDER_MIC_PERMISSION_DENIED"));
    EXPECT_THAT(host.hardware.journal(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Recorder, TheRateFollowsTheRoute) {
    speakerDevice().transportType = kAudioDeviceTransportTypeBluetooth;
    speakerDevice().format = *AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, true);
    make();
    record(1s);
    EXPECT_EQ(host.writers.script.settings.at(0).sampleRate, 16000);
    EXPECT_EQ(host.writers.script.settings.at(0).encoderBitRate, 40000);
    EXPECT_NEAR(static_cast<double>(recorded().size()), 16000, 1500);
    EXPECT_EQ(logged("session mix bus=16000.0 Hz (tap nominal=16000.0 default output "
                     "nominal=16000.0 input nominal=48000.0 Hz)"),
              1);
    EXPECT_EQ(logged("upload layout=monoMix (TL_MACOS_UPLOAD_STEREO_LR for stereo L=mic R=system)"),
              1);
}

TEST_F(Recorder, AnOutputAt44100IsRecordedAt48000) {
    speakerDevice().format = *AudioFormat::make(CommonFormat::pcmFloat32, 44100, 2, true);
    make();
    record(2s);
    EXPECT_EQ(host.writers.script.settings.at(0).sampleRate, 48000);
    const auto part = std::span(recorded()).subspan(9600, 72000);
    EXPECT_NEAR(test::fitTone(part, 997.0 / 48000).amplitude, 0.25, 0.001);
}

TEST_F(Recorder, CrystalsThatDisagreeStayInStep) {
    // 400 ppm apart over two minutes: 48 ms, 2304 samples, if nothing followed the clock.
    speakerDevice().clockErrorPpm = 400;
    speakerDevice().signal = [](double) { return 0.1F; };
    microphoneDevice().signal = [](double) { return 0.0F; };
    make().start(path);
    host.time.advance(2min);
    recorder->stop();
    EXPECT_NEAR(static_cast<double>(recorded().size()), 120.0 * 48000, 1000);
    EXPECT_EQ(logged("padded"), 0);
}

TEST_F(Recorder, StreamingWinsOverDualTracksAndRunsAt48000) {
    host.simulatedEnvironment.variables = {{"TL_RECORDER_RTMPS_MODE", "1"},
                                           {"TL_MACOS_DUAL_TRACK_RECORDING", "1"},
                                           {"TL_RECORDER_STT_ENABLED", "1"}};
    speakerDevice().format = *AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, true);
    make();
    record(2s);
    EXPECT_EQ(logged("RTMPS mode: stereo PCM stdout @ 48000.0 Hz (L=mic R=system)"), 1);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(providers.size(), 1U) << "the one made in advance is not used";
    EXPECT_EQ(providers[0]->fed, 0U);

    // Event lines stand between whole frames.
    const auto stream = test::FramedStream::of(host.simulatedStreams.output());
    EXPECT_EQ(stream.rest, 0U);
    ASSERT_EQ(stream.lines.size(), 2U);
    EXPECT_EQ(stream.lines[0], started());
    EXPECT_THAT(stream.lines[1], HasSubstr("finalized"));
    ASSERT_GT(stream.left.size(), 90000U);
    const auto middle = [](const std::vector<float>& side) {
        return std::span(side).subspan(9600, 72000);
    };
    EXPECT_NEAR(test::fitTone(middle(stream.left), 440.0 / 48000).amplitude, 0.3, 0.001);
    EXPECT_NEAR(test::fitTone(middle(stream.right), 997.0 / 48000).amplitude, 0.5, 0.001);
    EXPECT_EQ(logged("RTMPS capture stopped: pcmBytesEmitted=" +
                     std::to_string(stream.left.size() * 4) + " framesDropped=0"),
              1);
}

TEST_F(Recorder, ADebugCopyOfTheMonoMixStandsBesideTheRecording) {
    host.simulatedEnvironment.variables["TL_RECORDER_DEBUG_WAV"] = "1";
    make();
    record(1s);
    const std::string wav = folder.file("upload_audio_debug.wav");
    EXPECT_EQ(std::filesystem::file_size(wav), 44 + 2 * recorded().size());
    path = folder.file("stereo.m4a");
    std::filesystem::remove(wav);
    host.simulatedEnvironment.variables["TL_MACOS_UPLOAD_STEREO_LR"] = "1";
    record(1s);
    EXPECT_FALSE(std::filesystem::exists(wav)) << "there is no mono mix in the stereo layout";
}

TEST_F(Recorder, ADebugCopyThatCannotBeWrittenDoesNotHarmTheRecording) {
    host.simulatedEnvironment.variables["TL_RECORDER_DEBUG_WAV"] = "1";
    host.simulatedFiles.refused = {"upload_audio_debug.wav"};
    make();
    record(1s);
    EXPECT_EQ(logged("cannot create " + folder.file("upload_audio_debug.wav")), 1);
    EXPECT_THAT(events().back(), HasSubstr("finalized"));
}

TEST_F(Recorder, TenRecordingsInARowLeaveNothingBehind) {
    make();
    for (int i = 0; i < 10; ++i) {
        path = folder.file("take" + std::to_string(i) + ".m4a");
        record(300ms);
        expectIdleWithNothingLeft();
    }
    EXPECT_EQ(events().size(), 20U);
}

TEST_F(Recorder, ARecorderThatIsDestroyedWhileRecordingDoesNotFinish) {
    make().start(path);
    host.time.advance(1s);
    recorder.reset();
    EXPECT_THAT(events(), ElementsAre(started()));
    EXPECT_EQ(host.hardware.runningProcedures(), 0U);
    EXPECT_EQ(host.writers.script.finishCalls, 0);
    EXPECT_TRUE(std::filesystem::exists(path)) << "what was written stays";
}

TEST_F(Recorder, WithoutTranscriptionNoProviderIsMade) {
    make();
    record(300ms);
    EXPECT_THAT(providers, IsEmpty());
}

TEST_F(Recorder, APrewarmedProviderServesTheFirstRecordingOnly) {
    host.simulatedEnvironment.variables["TL_RECORDER_STT_ENABLED"] = "1";
    speakerDevice().transportType = kAudioDeviceTransportTypeBluetooth;
    speakerDevice().format = *AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, true);
    make();
    ASSERT_EQ(providers.size(), 1U);
    EXPECT_EQ(providers[0]->rate, 48000);
    EXPECT_EQ(logged("STT pre-warm: created ScriptedProvider at process launch"), 1);
    record(1s);
    EXPECT_EQ(logged("STT: reusing pre-warmed ScriptedProvider"), 1);
    EXPECT_EQ(logged("STT enabled: ScriptedProvider for locale=en_US"), 1);
    EXPECT_TRUE(providers[0]->stopped);
    EXPECT_GT(providers[0]->fed, 40000U) << "at the rate that it was made for";

    path = folder.file("second.m4a");
    record(1s);
    ASSERT_EQ(providers.size(), 2U);
    EXPECT_EQ(providers[1]->rate, 16000) << "the session's rate";
}

TEST_F(Recorder, AFailedStartDiscardsThePrewarmedProvider) {
    host.simulatedEnvironment.variables["TL_RECORDER_STT_ENABLED"] = "1";
    make();
    host.hardware.failNext("createProcessTap", -5);
    recorder->start(path);
    EXPECT_TRUE(providers.at(0)->stopped);
    record(300ms);
    EXPECT_EQ(providers.size(), 2U);
}

TEST_F(Recorder, WithoutAProviderTheRecordingGoesOn) {
    host.simulatedEnvironment.variables["TL_RECORDER_STT_ENABLED"] = "1";
    providerAvailable = false;
    make();
    record(300ms);
    EXPECT_EQ(logged("STT: no provider available for locale=en_US"), 1);
    EXPECT_EQ(events().front(), started());
}

TEST_F(Recorder, TranscriptionDoesNotChangeASample) {
    make();
    record(1s);
    test::SimulatedMeeting other;
    other.host.simulatedEnvironment.variables["TL_RECORDER_STT_ENABLED"] = "1";
    AudioRecorder transcribing(other.recorderServices(
        [](const std::string&, double) { return std::make_shared<ScriptedProvider>(); }));
    transcribing.start(other.path);
    other.host.time.advance(1s);
    transcribing.stop();
    EXPECT_EQ(other.recorded(), recorded());
}

}  // namespace
}  // namespace tapwell
