#pragma once

#include "Support/FramedStream.h"
#include "Support/SimulatedMeeting.h"
#include "Support/TimeCodedSide.h"
#include "Tapwell/Control/AudioRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace tapwell::test {

/// A meeting whose devices change. Each plays or hears a time code: the first two as it is, the
/// headphones and the headset's microphone, which are there to be changed to, negated.
struct DeviceChange : testing::Test {
    static constexpr double rate = TimeCode::rate;
    static constexpr std::size_t edgeSamples = TimeCodedSide::edgeSamples;

    std::unique_ptr<SimulatedMeeting> meeting;
    std::unique_ptr<AudioRecorder> recorder;
    AudioObjectID headphones = 0;
    AudioObjectID headsetMicrophone = 0;
    TimeCodedSide system;
    TimeCodedSide microphone;
    /// Framed PCM on standard output instead of a file. It is of 16 bits.
    bool isFramed = false;
    FramedStream stream;
    /// What the recorder makes of the microphone's level.
    float microphoneGain = 6;

    DeviceChange() { prepare(); }

    void prepare() {
        recorder.reset();
        meeting = std::make_unique<SimulatedMeeting>();
        system = {};
        microphone = {};
        const TimeCode code = timeCode();
        meeting->speakerDevice().signal = code.at;
        meeting->microphoneDevice().signal = [at = code.at, gain = microphoneGain](double t) {
            return at(t) / gain;
        };
        meeting->host.simulatedEnvironment
            .variables[isFramed ? "TL_RECORDER_RTMPS_MODE" : "TL_MACOS_UPLOAD_STEREO_LR"] = "1";
        SimulatedDevice output;
        output.uid = "headphones";
        output.format = *AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, true);
        output.framesPerCycle = 320;
        output.startLatency = std::chrono::milliseconds(80);
        output.signal = [at = code.at](double t) { return -at(t); };
        headphones = hardware().addDevice(output);
        SimulatedDevice input;
        input.uid = "headset microphone";
        input.isInput = true;
        input.format = *AudioFormat::make(CommonFormat::pcmFloat32, 44100, 1, false);
        input.framesPerCycle = 441;
        input.startLatency = std::chrono::milliseconds(60);
        input.signal = [at = code.at, gain = microphoneGain](double t) { return -at(t) / gain; };
        headsetMicrophone = hardware().addDevice(input);
    }
    TimeCode timeCode() const { return isFramed ? TimeCode::swingingSlope() : TimeCode::slope(); }
    SimulatedAudioHardware& hardware() { return meeting->host.hardware; }
    void start() {
        recorder = std::make_unique<AudioRecorder>(meeting->recorderServices());
        recorder->start(meeting->path);
    }
    void pass(std::chrono::nanoseconds length) { meeting->host.time.advance(length); }
    void passGrace() { pass(OutputRouteMonitor::startUpGrace); }

    /// Changes both defaults, the second one after `spacing`, and lets three seconds pass.
    void change(bool isOutputFirst, std::chrono::milliseconds spacing, AudioObjectID output,
                AudioObjectID input) {
        if (isOutputFirst)
            hardware().setDefaultOutput(output);
        else
            hardware().setDefaultInput(input);
        pass(spacing);
        if (isOutputFirst)
            hardware().setDefaultInput(input);
        else
            hardware().setDefaultOutput(output);
        pass(std::chrono::seconds(3));
    }

    /// A new recording until `moment` after both defaults changed; two starts of devices fail.
    void recordIntoAFailingChange(std::chrono::milliseconds moment) {
        prepare();
        start();
        passGrace();
        hardware().failNext("startDevice", -1, 2);
        hardware().setDefaultOutput(headphones);
        hardware().setDefaultInput(headsetMicrophone);
        pass(moment);
    }

    int rebuilds() { return meeting->logged("system tap rebuilt for new default output device"); }
    int microphoneRestarts() { return meeting->logged("started halIn=") - 1; }

    /// Stops, and takes the recording apart into its sides.
    void finish() {
        EXPECT_TRUE(recorder->isRecording());
        recorder->stop();
        if (isFramed)
            takeStream();
        else
            takeFile();
        judge();
    }
    void takeFile() {
        EXPECT_THAT(meeting->events().back(), testing::HasSubstr("finalized"));
        const std::vector<float>& both = meeting->recorded();
        for (std::size_t i = 0; i + 1 < both.size(); i += 2) {
            microphone.samples.push_back(both[i]);
            system.samples.push_back(both[i + 1]);
        }
    }
    void takeStream() {
        stream = FramedStream::of(meeting->host.simulatedStreams.output());
        EXPECT_EQ(stream.rest, 0U);
        EXPECT_THAT(stream.lines.back(), testing::HasSubstr("finalized"));
        microphone.samples = stream.left;
        system.samples = stream.right;
    }
    void judge() {
        EXPECT_EQ(meeting->logged("for drift"), 0) << "the mixer had nothing to pad";
        ASSERT_GT(system.samples.size(), 5000U);
        const double begin = timeCode().timeOf(system.samples, 1000) - 1000 / rate;
        system.judge(begin, timeCode());
        microphone.judge(begin, timeCode());
    }
    /// Every sample of both sides is where the moment of its capture belongs.
    void expectEverythingInPlace(const std::string& what = "", double toleranceSamples = 1) {
        EXPECT_LT(system.worst, toleranceSamples) << what;
        EXPECT_LT(microphone.worst, toleranceSamples) << what;
    }
};

}  // namespace tapwell::test
