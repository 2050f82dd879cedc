#include "Support/Pcm16Wav.h"
#include "Support/SimulatedMeeting.h"
#include "Support/ToneAnalysis.h"
#include "Tapwell/Control/AudioRecorder.h"
#include "Tapwell/Control/RouteGap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using test::Pcm16Wav;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

struct DualTrackRecorder : testing::Test, test::SimulatedMeeting {
    std::unique_ptr<AudioRecorder> recorder;

    DualTrackRecorder() {
        set("TL_MACOS_DUAL_TRACK_RECORDING");
        recorder = std::make_unique<AudioRecorder>(recorderServices());
    }
    void set(const std::string& name) { host.simulatedEnvironment.variables[name] = "1"; }
    void record(std::chrono::nanoseconds duration) {
        recorder->start(path);
        host.time.advance(duration);
        recorder->stop();
    }
    std::string systemWav() const { return folder.file(".capture_system.wav"); }
    std::string micWav() const { return folder.file(".capture_mic.wav"); }
    static std::string content(const std::string& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

TEST_F(DualTrackRecorder, MergesBothSourcesMixed) {
    microphoneDevice().signal = [](double t) { return tone(t, 440, 0.3); };
    record(2s);
    ASSERT_NEAR(static_cast<double>(recorded().size()), 96000, 1500);
    const auto part = std::span(recorded()).subspan(4800, 81600);
    EXPECT_NEAR(test::fitTone(part, 997.0 / 48000).amplitude, 0.25, 0.001);
    EXPECT_NEAR(test::fitTone(part, 440.0 / 48000).amplitude, 0.15, 0.001)
        << "the microphone is not boosted here";
    EXPECT_THAT(events().back(), HasSubstr("\"finalized\""));
    EXPECT_THAT(folder.names(), ElementsAre("upload_audio.m4a"));
    EXPECT_EQ(logged("dual-track mode: .capture_*.wav → merge on stop → upload_audio.m4a"), 1);
    EXPECT_EQ(logged("dual-track merge finished: path=" + path + " exists=true sizeBytes="), 1);
    EXPECT_EQ(logged("dual-track WAV storage=48000.0 Hz route capture=48000.0 Hz (tap nominal="),
              1);
    EXPECT_EQ(logged("timeline: padded"), 0);
}

TEST_F(DualTrackRecorder, StereoHasTheMicrophoneOnTheLeft) {
    set("TL_MACOS_UPLOAD_STEREO_LR");
    record(1s);
    std::vector<float> left;
    std::vector<float> right;
    for (std::size_t i = 0; i + 1 < recorded().size(); i += 2) {
        left.push_back(recorded()[i]);
        right.push_back(recorded()[i + 1]);
    }
    ASSERT_GT(left.size(), 40000U);
    const auto middle = [](const std::vector<float>& side) {
        return std::span(side).subspan(4800, 33600);
    };
    EXPECT_NEAR(test::fitTone(middle(left), 440.0 / 48000).amplitude, 0.05, 0.001);
    EXPECT_NEAR(test::fitTone(middle(right), 997.0 / 48000).amplitude, 0.5, 0.001);
}

TEST_F(DualTrackRecorder, TheTracksRunAt48000WhateverTheRoute) {
    set("TL_MACOS_DUAL_TRACK_KEEP_CAPTURE_WAV");
    speakerDevice().format = *AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, true);
    microphoneDevice().format = *AudioFormat::make(CommonFormat::pcmFloat32, 8000, 1, true);
    record(2s);
    for (const auto& file : {systemWav(), micWav()}) {
        const auto wav = Pcm16Wav::read(file);
        EXPECT_EQ(wav.sampleRate(), 48000U);
        EXPECT_NEAR(static_cast<double>(wav.frameCount()), 96000, 3000);
    }
    EXPECT_EQ(logged("dual-track WAV storage=48000.0 Hz route capture=16000.0 Hz"), 1);
}

TEST_F(DualTrackRecorder, ALateSourceDoesNotShiftTheTracks) {
    const auto click = [](double seconds) { return std::fmod(seconds, 0.5) < 0.002 ? 1.0F : 0.0F; };
    for (const bool timed : {true, false}) {
        for (const auto& [systemLate, micLate] :
             std::vector<std::pair<std::chrono::milliseconds, std::chrono::milliseconds>>{
                 {0ms, 0ms},
                 {0ms, 300ms},
                 {300ms, 0ms},
                 {0ms, 2000ms},
                 {2000ms, 0ms},
                 {1730ms, 30ms}}) {
            test::SimulatedMeeting meeting;
            meeting.speakerDevice().signal = click;
            meeting.speakerDevice().startLatency = systemLate;
            meeting.speakerDevice().framesPerCycle = 2048;
            meeting.speakerDevice().stampsHostTime = timed;
            meeting.microphoneDevice().signal = click;
            meeting.microphoneDevice().startLatency = micLate;
            meeting.microphoneDevice().framesPerCycle = 441;
            meeting.microphoneDevice().stampsHostTime = timed;
            meeting.host.simulatedEnvironment.variables = {{"TL_MACOS_DUAL_TRACK_RECORDING", "1"},
                                                           {"TL_MACOS_UPLOAD_STEREO_LR", "1"}};
            AudioRecorder pair(meeting.recorderServices());
            pair.start(meeting.path);
            meeting.host.time.advance(4s);
            pair.stop();
            const std::string which = std::string(timed ? "timed " : "untimed ") +
                                      std::to_string(systemLate.count()) + " " +
                                      std::to_string(micLate.count());
            const auto left = edges(meeting.recorded(), 0);
            const auto right = edges(meeting.recorded(), 1);
            ASSERT_GE(left.size(), 4U) << which;
            ASSERT_GE(right.size(), 4U) << which;
            // The one that began earlier has clicks of its own at the beginning.
            const std::size_t common = std::min(left.size(), right.size());
            for (std::size_t i = 1; i <= common; ++i)
                EXPECT_NEAR(left[left.size() - i], right[right.size() - i], 48) << which;
        }
    }
}

TEST_F(DualTrackRecorder, TheCaptureFilesAreKeptOnRequest) {
    set("TL_MACOS_DUAL_TRACK_KEEP_CAPTURE_WAV");
    record(1s);
    EXPECT_THAT(folder.names(),
                ElementsAre(".capture_mic.wav", ".capture_system.wav", "upload_audio.m4a"));
    const auto wav = Pcm16Wav::read(systemWav());
    EXPECT_EQ(wav.dataSize(), 2 * wav.frameCount());
    EXPECT_NEAR(static_cast<double>(wav.frameCount()), 48000, 1500);
}

TEST_F(DualTrackRecorder, LeftOverCaptureFilesAreSetAsideUnharmed) {
    std::ofstream(systemWav()) << "system of a killed recording";
    std::ofstream(micWav()) << "microphone of a killed recording";
    record(1s);
    EXPECT_THAT(folder.names(), ElementsAre(".capture_mic.left-over-1.wav",
                                            ".capture_system.left-over-1.wav", "upload_audio.m4a"));
    EXPECT_EQ(content(folder.file(".capture_system.left-over-1.wav")),
              "system of a killed recording");
    EXPECT_EQ(content(folder.file(".capture_mic.left-over-1.wav")),
              "microphone of a killed recording");
    EXPECT_EQ(logged("is left over from a recording that was not merged; kept as"), 2);

    std::ofstream(micWav()) << "another";
    record(1s);
    EXPECT_EQ(content(folder.file(".capture_mic.left-over-2.wav")), "another");
    EXPECT_EQ(content(folder.file(".capture_mic.left-over-1.wav")),
              "microphone of a killed recording");
}

TEST_F(DualTrackRecorder, AFailedStartLeavesNoFilesAndNoLossBehind) {
    std::ofstream(micWav()) << "of a killed recording";
    host.simulatedFiles.refused = {".capture_mic.wav"};
    recorder->start(path);
    EXPECT_THAT(events().back(),
                HasSubstr("\"code\":\"RECORDER_START_FAILED\",\"message\":\"WAV open failed: " +
                          escaped(micWav())));
    EXPECT_THAT(folder.names(), ElementsAre(".capture_mic.left-over-1.wav"));
    host.simulatedFiles.refused.clear();
    host.hardware.failNext("startDevice", -5);
    recorder->start(path);
    EXPECT_THAT(folder.names(), ElementsAre(".capture_mic.left-over-1.wav"));
    EXPECT_EQ(host.hardware.runningProcedures(), 0U);
    record(1s);
    EXPECT_THAT(events().back(), HasSubstr("\"finalized\""));
}

TEST_F(DualTrackRecorder, AMergeThatFailsKeepsBothFilesAndSaysWhere) {
    host.writers.script.failsFromAppend = 3;
    record(2s);
    EXPECT_THAT(events().back(), HasSubstr("\"code\":\"RECORDER_FINALIZE_FAILED\""));
    EXPECT_THAT(events(), Not(Contains(HasSubstr("finalized"))));
    EXPECT_EQ(logged("dual-track merge failed: "), 1);
    EXPECT_EQ(logged("dual-track: what was captured is kept in \"" + systemWav() + "\" and \"" +
                     micWav() + "\""),
              1);
    EXPECT_NEAR(static_cast<double>(Pcm16Wav::read(micWav()).frameCount()), 96000, 1500);
    EXPECT_FALSE(recorder->isRecording());

    host.writers.script = {};
    record(1s);
    EXPECT_THAT(events().back(), HasSubstr("\"finalized\""));
    EXPECT_THAT(folder.names(), Contains(".capture_mic.left-over-1.wav"));
}

TEST_F(DualTrackRecorder, AFullDiskKeepsWhatFitted) {
    recorder->start(path);
    host.time.advance(1s);
    host.simulatedFiles.bytesLeft = 0;
    host.time.advance(1s);
    recorder->stop();
    EXPECT_EQ(logged("track ends here: no space left"), 2);
    EXPECT_THAT(events().back(), HasSubstr("\"finalized\""));
    EXPECT_NEAR(static_cast<double>(recorded().size()), 48000, 1500);
}

TEST_F(DualTrackRecorder, SilenceOnBothSidesInStereoIsAnErrorThatKeepsTheFiles) {
    set("TL_MACOS_UPLOAD_STEREO_LR");
    speakerDevice().signal = [](double) { return 0.0F; };
    microphoneDevice().signal = [](double) { return 0.0F; };
    record(1s);
    EXPECT_THAT(events().back(), HasSubstr("dual-track stereo merge: both WAVs silent"));
    EXPECT_THAT(folder.names(), Contains(".capture_mic.wav"));
}

TEST_F(DualTrackRecorder, ASwitchOfMicrophonesLeavesSilenceAsLongAsItTook) {
    set("TL_MACOS_UPLOAD_STEREO_LR");
    const auto click = [](double t) { return std::fmod(t, 0.5) < 0.002 ? 1.0F : 0.0F; };
    speakerDevice().signal = click;
    microphoneDevice().signal = click;
    auto other = makeMicrophone();
    other.uid = "headset";
    other.signal = click;
    other.startLatency = 170ms;
    other.format = *AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, false);
    other.framesPerCycle = 160;
    const AudioObjectID headset = host.hardware.addDevice(other);
    recorder->start(path);
    host.time.advance(1200ms);
    host.hardware.setDefaultInput(headset);
    host.time.advance(3s);
    recorder->stop();
    const auto left = edges(recorded(), 0);
    const auto right = edges(recorded(), 1);
    ASSERT_GE(left.size(), 6U);
    for (const double at : left)
        EXPECT_THAT(right, Contains(testing::DoubleNear(at, 48)));
    EXPECT_NEAR(left.back(), right.back(), 48);
}

TEST(SilenceSamples, FillTheTimeOfAGap) {
    const Clock::Timebase ticks{125, 3};
    const auto half = static_cast<std::uint64_t>(0.5e9 * 3 / 125);
    EXPECT_EQ(silenceSamplesMach(1000, 1000 + half, 48000, ticks), 24000);
    EXPECT_EQ(silenceSamplesMach(1000 + half, 1000, 48000, ticks), 0);
    EXPECT_EQ(silenceSamplesMach(7, 7, 48000, ticks), 0);
    EXPECT_EQ(silenceSamplesMach(0, 1'000'000'000, 16000, {1, 1}), 16000);
    EXPECT_EQ(silenceSamplesMach(0, 10'415, 48000, {1, 1}), 0) << "just below half a sample";
    EXPECT_EQ(silenceSamplesMach(0, 10'417, 48000, {1, 1}), 1);
    EXPECT_DEATH(silenceSamplesMach(0, INT64_MAX, 1e12, {4'000'000'000U, 1}), "out of range");
}

}  // namespace
}  // namespace tapwell
