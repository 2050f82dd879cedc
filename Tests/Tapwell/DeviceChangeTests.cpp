#include "Support/DeviceChange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using test::DeviceChange;
using testing::HasSubstr;

constexpr auto tick = 1ns;

/// The same in two files of 16 bits, whose steps tell the time within 40 samples.
struct DualTrackDeviceChange : DeviceChange {
    static constexpr double toleranceSamples = 45;

    DualTrackDeviceChange() {
        microphoneGain = 1;
        prepare();
        meeting->host.simulatedEnvironment.variables["TL_MACOS_DUAL_TRACK_RECORDING"] = "1";
    }
};

/// In every mode that mixes live.
struct LiveDeviceChange : DeviceChange, testing::WithParamInterface<bool> {
    LiveDeviceChange() {
        isFramed = GetParam();
        prepare();
    }
};

INSTANTIATE_TEST_SUITE_P(Modes, LiveDeviceChange, testing::Bool(), [](const auto& mode) {
    return std::string(mode.param ? "FramedPcm" : "File");
});

TEST_P(LiveDeviceChange, TheCodeTellsWhereSamplesBelong) {
    start();
    pass(3s);
    ASSERT_NO_FATAL_FAILURE(finish());
    expectEverythingInPlace();
    EXPECT_EQ(system.silent, 0U);
    EXPECT_GT(system.fromFirst, 130000U);
}

TEST_P(LiveDeviceChange, TheOutputIsFollowed) {
    start();
    passGrace();
    hardware().setDefaultOutput(headphones);
    pass(4s);
    EXPECT_EQ(rebuilds(), 1);
    EXPECT_EQ(microphoneRestarts(), 0);
    EXPECT_EQ(hardware().liveTaps(), 1U);
    EXPECT_EQ(hardware().liveAggregates(), 1U);
    ASSERT_NO_FATAL_FAILURE(finish());
    expectEverythingInPlace();
    EXPECT_GT(system.fromNext, 160000U);
    EXPECT_EQ(microphone.silent, 0U);
    // The new device takes 80 ms to start, and the old one's last cycle was not whole.
    EXPECT_GE(system.silent, 3840U - edgeSamples);
    EXPECT_LE(system.silent, 3840U + 480U);
    EXPECT_NEAR(static_cast<double>(system.samples.size()), 6.51 * rate, 0.03 * rate);
}

TEST_P(LiveDeviceChange, TheInputIsFollowed) {
    start();
    passGrace();
    hardware().setDefaultInput(headsetMicrophone);
    pass(4s);
    EXPECT_EQ(rebuilds(), 0);
    EXPECT_EQ(microphoneRestarts(), 1);
    ASSERT_NO_FATAL_FAILURE(finish());
    expectEverythingInPlace();
    EXPECT_GT(microphone.fromNext, 150000U);
    EXPECT_EQ(system.silent, 0U);
    EXPECT_GE(microphone.silent, 2880U - edgeSamples);
    EXPECT_LE(microphone.silent, 2880U + 480U);
}

TEST_P(LiveDeviceChange, AMicrophoneThatIsAwayForSecondsLeavesAGapAsLong) {
    start();
    passGrace();
    hardware().removeDevice(meeting->microphone);
    hardware().setDefaultInput(std::nullopt);
    pass(3s);
    EXPECT_EQ(meeting->logged("no audio from the microphone for"), 1);
    hardware().setDefaultInput(headsetMicrophone);
    pass(3s);
    EXPECT_EQ(meeting->logged("audio from the microphone is back after"), 1);
    ASSERT_NO_FATAL_FAILURE(finish());
    expectEverythingInPlace();
    EXPECT_EQ(system.silent, 0U);
    EXPECT_NEAR(static_cast<double>(microphone.silent), 3.61 * rate, 0.02 * rate);
    EXPECT_GT(microphone.fromNext, 100000U);
}

TEST_P(LiveDeviceChange, AnOutputThatIsAwayForSecondsLeavesAGapAsLong) {
    start();
    passGrace();
    hardware().removeDevice(meeting->speaker);
    hardware().setDefaultOutput(std::nullopt);
    pass(3s);
    EXPECT_EQ(meeting->logged("no audio from the system output for"), 1);
    hardware().setDefaultOutput(headphones);
    pass(3s);
    ASSERT_NO_FATAL_FAILURE(finish());
    expectEverythingInPlace();
    EXPECT_EQ(microphone.silent, 0U);
    EXPECT_NEAR(static_cast<double>(system.silent), 3.48 * rate, 0.02 * rate);
    EXPECT_GT(system.fromNext, 100000U);
}

TEST_P(LiveDeviceChange, AHeadsetThatIsUnpluggedLeavesEverythingElseInPlace) {
    for (const auto spacing : {0ms, 300ms, 549ms, 700ms, 1100ms, 2000ms}) {
        const std::string what = "after " + std::to_string(spacing.count()) + " ms the other";
        prepare();
        start();
        passGrace();
        change(true, 0ms, headphones, headsetMicrophone);
        hardware().removeDevice(headsetMicrophone);
        hardware().setDefaultInput(meeting->microphone);
        pass(spacing);
        hardware().removeDevice(headphones);
        hardware().setDefaultOutput(meeting->speaker);
        pass(3s);
        EXPECT_EQ(rebuilds(), 2) << what;
        EXPECT_EQ(microphoneRestarts(), 2) << what;
        ASSERT_NO_FATAL_FAILURE(finish()) << what;
        expectEverythingInPlace(what);
        EXPECT_GT(system.fromNext, 90000U) << what;
        EXPECT_GT(microphone.fromNext, 90000U) << what;
        EXPECT_NEAR(static_cast<double>(system.samples.size()),
                    rate * std::chrono::duration<double>(8500ms + spacing).count(), 0.02 * rate)
            << what;
    }
}

TEST_P(LiveDeviceChange, LostCyclesLeaveSilenceAsLong) {
    meeting->microphoneDevice().losesCycle = [](std::int64_t cycle) { return cycle == 100; };
    meeting->speakerDevice().losesCycle = [](std::int64_t cycle) {
        return cycle >= 200 && cycle < 230;
    };
    start();
    pass(4s);
    ASSERT_NO_FATAL_FAILURE(finish());
    expectEverythingInPlace();
    EXPECT_EQ(microphone.silent, 480U);
    EXPECT_EQ(system.silent, 30 * 480U);
}

TEST_F(DeviceChange, WhenEverythingIsAwayTheRecordingGoesOnInSilence) {
    start();
    passGrace();
    hardware().removeDevice(meeting->speaker);
    hardware().removeDevice(meeting->microphone);
    hardware().setDefaultOutput(std::nullopt);
    hardware().setDefaultInput(std::nullopt);
    pass(4s);
    // The last second may still come; what was before has gone to the encoder.
    EXPECT_GT(meeting->recorded().size() / 2, static_cast<std::size_t>(5 * rate));
    hardware().setDefaultOutput(headphones);
    pass(250ms);
    hardware().setDefaultInput(headsetMicrophone);
    pass(4s);
    EXPECT_EQ(rebuilds(), 1);
    EXPECT_EQ(microphoneRestarts(), 1);
    finish();
    expectEverythingInPlace();
    EXPECT_GT(system.fromNext, 100000U);
    EXPECT_GT(microphone.fromNext, 100000U);
}

TEST_F(DeviceChange, ADeviceThatDeliversNothingForAWhileIsNoticedAndGoesOn) {
    meeting->microphoneDevice().losesCycle = [](std::int64_t cycle) {
        return cycle >= 300 && cycle < 700;
    };
    start();
    pass(10s);
    EXPECT_EQ(meeting->logged("no audio from the microphone for"), 1);
    EXPECT_EQ(meeting->logged("audio from the microphone is back after 4.0 s"), 1);
    EXPECT_EQ(rebuilds() + microphoneRestarts(), 0);
    finish();
    expectEverythingInPlace();
    EXPECT_EQ(microphone.silent, 400 * 480U);
    EXPECT_EQ(system.silent, 0U);
}

TEST_F(DeviceChange, ACaptureQueueThatStallsLosesNothing) {
    start();
    pass(1s);
    const auto queue = meeting->host.simulatedQueues.find("Tapwell.MicrophonePCMEngine.io");
    queue->setStalled(true);
    pass(1s);
    queue->setStalled(false);
    pass(2s);
    recorder->stop();
    // The other stream waits, so every sample is there and both are still together.
    const std::vector<float>& both = meeting->recorded();
    std::vector<float> left;
    std::vector<float> right;
    for (std::size_t i = 0; i + 1 < both.size(); i += 2) {
        if (both[i] != 0) left.push_back(both[i]);
        if (both[i + 1] != 0) right.push_back(both[i + 1]);
    }
    EXPECT_NEAR(static_cast<double>(left.size()), 4 * rate, 0.02 * rate);
    EXPECT_NEAR(static_cast<double>(right.size()), 4 * rate, 0.02 * rate);
    EXPECT_TRUE(std::is_sorted(left.begin(), left.end()));
    EXPECT_TRUE(std::is_sorted(right.begin(), right.end()));
    const std::size_t last = both.size() / 2 - 4800;
    EXPECT_NEAR(timeCode().timeOf(both, 2 * last), timeCode().timeOf(both, 2 * last + 1), 1 / rate);
    EXPECT_EQ(meeting->logged("microphone came late; the other stream waits"), 1);
}

/// Output and input change together, as when a headset arrives, and again when it leaves.
struct HeadsetChange : DeviceChange {
    static std::vector<milliseconds> spacings() {
        std::vector<milliseconds> result;
        for (int at = 0; at <= 3000; at += 250)
            result.emplace_back(at);
        // Around every moment at which something else is due.
        for (const int at : {400, 550, 850, 1000, 1250, 1400, 1650, 1950})
            for (const int around : {-1, 0, 1})
                result.emplace_back(at + around);
        return result;
    }
    void expectOneRebuildAndOneRestartAtEverySpacing(bool isOutputFirst) {
        for (const milliseconds spacing : spacings()) {
            const std::string what = "after " + std::to_string(spacing.count()) + " ms the other";
            prepare();
            start();
            passGrace();
            change(isOutputFirst, spacing, headphones, headsetMicrophone);
            EXPECT_EQ(rebuilds(), 1) << what;
            EXPECT_EQ(microphoneRestarts(), 1) << what;
            change(isOutputFirst, spacing, meeting->speaker, meeting->microphone);
            EXPECT_EQ(rebuilds(), 2) << what << " and back";
            EXPECT_EQ(microphoneRestarts(), 2) << what << " and back";
            ASSERT_NO_FATAL_FAILURE(finish()) << what;
            expectEverythingInPlace(what);
            EXPECT_GT(system.fromNext, 90000U) << what;
            EXPECT_GT(microphone.fromNext, 50000U) << what;
            EXPECT_GT(system.samples[system.samples.size() - 2000], 0) << what;
            EXPECT_GT(microphone.samples[microphone.samples.size() - 2000], 0) << what;
            if (HasFailure()) return;
        }
    }
};

TEST_F(HeadsetChange, TheOutputFirstIsOneRebuildAndOneRestart) {
    expectOneRebuildAndOneRestartAtEverySpacing(true);
}

TEST_F(HeadsetChange, TheInputFirstIsOneRebuildAndOneRestart) {
    expectOneRebuildAndOneRestartAtEverySpacing(false);
}

/// A headset that arrives while the recording is just starting.
TEST_F(DeviceChange, BothChangingInTheStartUpGraceAreFollowedOnceItIsOver) {
    for (const auto moment : {0ms, 500ms, 1900ms, 2000ms, 2400ms, 2499ms}) {
        prepare();
        start();
        pass(moment);
        hardware().setDefaultInput(headsetMicrophone);
        pass(100ms);
        hardware().setDefaultOutput(headphones);
        pass(6s);
        EXPECT_EQ(rebuilds(), 1) << moment.count();
        EXPECT_EQ(microphoneRestarts(), 1) << moment.count();
        ASSERT_NO_FATAL_FAILURE(finish());
        expectEverythingInPlace(std::to_string(moment.count()));
        EXPECT_GT(system.fromNext, 100000U);
        EXPECT_GT(microphone.fromNext, 100000U);
    }
}

TEST_F(DeviceChange, ARebuildThatFailsAtAnyOfItsStepsIsLoggedUndoneAndTriedAgain) {
    struct Case {
        std::string call;
        OSStatus status;
        std::string message;
    };
    const std::vector<Case> cases = {
        {"getPropertyDataSize", -1, "cf str size -1"},
        {"createProcessTap", -5, "audio tap create OSStatus -5"},
        {"createProcessTap", kAudioDevicePermissionsError, "PERMISSION_DENIED_SYSTEM_AUDIO"},
        {"tapFormat", -6, "tap asbd -6"},
        {"createAggregateDevice", -7, "aggregate create OSStatus -7"},
        {"createIOProcID", -8, "create io proc -8"},
        {"startDevice", -9, "aggregate start -9"},
    };
    for (const Case& failing : cases) {
        prepare();
        start();
        passGrace();
        hardware().setDefaultOutput(headphones);
        pass(400ms - tick);
        hardware().failNext(failing.call, failing.status);
        pass(tick);
        EXPECT_EQ(meeting->logged("system tap rebuild failed: " + failing.message + "\n"), 1)
            << failing.message;
        EXPECT_EQ(hardware().liveTaps(), 0U) << failing.message;
        EXPECT_EQ(hardware().liveAggregates(), 0U) << failing.message;
        EXPECT_EQ(hardware().runningProcedures(), 1U) << "the microphone's";
        EXPECT_TRUE(recorder->isRecording());
        pass(5s);
        EXPECT_EQ(rebuilds(), 1) << failing.message;
        EXPECT_EQ(meeting->events().size(), 1U) << "no event tells of it";
        ASSERT_NO_FATAL_FAILURE(finish());
        expectEverythingInPlace(failing.message);
        EXPECT_GT(system.fromNext, 100000U) << failing.message;
        EXPECT_EQ(hardware().liveTaps() + hardware().liveAggregates(), 0U);
    }
}

TEST_F(DeviceChange, ATeardownThatFailsDoesNotStopTheRebuild) {
    start();
    passGrace();
    for (const char* call : {"stopDevice", "destroyIOProcID", "destroyAggregateDevice"})
        hardware().failNext(call, -3);
    hardware().setDefaultOutput(headphones);
    pass(3s);
    EXPECT_EQ(rebuilds(), 1);
    finish();
    EXPECT_GT(system.fromNext, 50000U);
}

TEST_F(DeviceChange, StopDuringThePendingRebuildCancelsIt) {
    start();
    passGrace();
    hardware().setDefaultOutput(headphones);
    pass(399ms);
    recorder->stop();
    pass(10s);
    EXPECT_EQ(hardware().countCalls("createProcessTap"), 1);
    EXPECT_EQ(hardware().listenerCount(), 0U);
    EXPECT_THAT(meeting->events().back(), HasSubstr("finalized"));
}

TEST_F(DeviceChange, StopInEveryPhaseOfAChangeLeavesNothingBehind) {
    for (auto moment = 0ms; moment <= 3000ms; moment += 100ms) {
        recordIntoAFailingChange(moment);
        recorder->stop();
        EXPECT_EQ(hardware().listenerCount(), 0U) << moment.count();
        EXPECT_EQ(hardware().runningProcedures(), 0U) << moment.count();
        EXPECT_EQ(hardware().liveTaps() + hardware().liveAggregates(), 0U) << moment.count();
        const auto calls = hardware().journal().size();
        pass(10s);
        EXPECT_EQ(hardware().journal().size(), calls) << moment.count();
        EXPECT_FALSE(recorder->isRecording());
    }
}

TEST_F(DeviceChange, StopWhileTheNewDevicesFirstAudioIsInItsFilterKeepsItInPlace) {
    for (auto moment = 480ms; moment <= 600ms; moment += 10ms) {
        const std::string what = std::to_string(moment.count()) + " ms after the change";
        prepare();
        start();
        passGrace();
        hardware().setDefaultOutput(headphones);
        pass(moment);
        ASSERT_NO_FATAL_FAILURE(finish()) << what;
        expectEverythingInPlace(what);
        if (moment >= 520ms) {
            EXPECT_GT(system.fromNext, 0U) << what;
            EXPECT_GE(system.silent, 3840U - edgeSamples) << what;
        }
    }
}

TEST_F(DeviceChange, ARecorderThatIsGoneDuringAChangeLeavesNothingBehind) {
    start();
    passGrace();
    hardware().setDefaultOutput(headphones);
    pass(200ms);
    recorder.reset();
    pass(10s);
    EXPECT_EQ(hardware().countCalls("createProcessTap"), 1);
    EXPECT_EQ(hardware().runningProcedures(), 0U);
    EXPECT_EQ(hardware().listenerCount(), 0U);
}

TEST_F(DeviceChange, WithoutAMonitorTheRecordingGoesOn) {
    // The microphone's listener is the first, the output's the second.
    hardware().failNext("addPropertyListener", noErr);
    hardware().failNext("addPropertyListener", -2);
    start();
    passGrace();
    hardware().setDefaultOutput(headphones);
    pass(3s);
    EXPECT_EQ(meeting->logged("AudioObjectAddPropertyListenerBlock(DefaultSystemOutputDevice) "
                              "failed: -2"),
              1);
    EXPECT_EQ(rebuilds(), 0);
    finish();
    expectEverythingInPlace();
}

TEST_F(DeviceChange, AnEarlierCaptureOfTheNewDeviceIsNotHeardTwice) {
    // The new device's audio was captured 70 ms before it is delivered: its first frames overlap
    // what the old one delivered in time.
    meeting->host.hardware.device(headsetMicrophone).startLatency = -70ms;
    start();
    passGrace();
    hardware().setDefaultInput(headsetMicrophone);
    pass(3s);
    finish();
    expectEverythingInPlace();
    EXPECT_EQ(microphone.silent, 0U);
    EXPECT_GT(microphone.fromNext, 100000U);
}

TEST_F(DualTrackDeviceChange, TheOutputIsFollowed) {
    start();
    passGrace();
    hardware().setDefaultOutput(headphones);
    pass(4s);
    EXPECT_EQ(rebuilds(), 1);
    EXPECT_EQ(meeting->logged("dual-track route capture rate=16000.0 Hz (aggregate actual=16000.0 "
                              "tap nominal=16000.0 Hz)"),
              1);
    finish();
    expectEverythingInPlace("", toleranceSamples);
    EXPECT_GT(system.fromNext, 150000U);
    EXPECT_NEAR(static_cast<double>(system.silent), 3840 + 240, 400);
}

TEST_F(DualTrackDeviceChange, TheInputIsFollowedWithSilenceForTheGap) {
    start();
    passGrace();
    hardware().setDefaultInput(headsetMicrophone);
    pass(4s);
    EXPECT_EQ(microphoneRestarts(), 1);
    finish();
    expectEverythingInPlace("", toleranceSamples);
    EXPECT_GT(microphone.fromNext, 150000U);
    EXPECT_NEAR(static_cast<double>(microphone.silent), 2880 + 240, 400);
}

TEST_F(DualTrackDeviceChange, AHeadsetThatArrivesAndLeavesKeepsTheTracksTogether) {
    for (const auto spacing : {0ms, 300ms, 700ms, 1100ms, 2000ms}) {
        prepare();
        meeting->host.simulatedEnvironment.variables["TL_MACOS_DUAL_TRACK_RECORDING"] = "1";
        start();
        passGrace();
        hardware().setDefaultOutput(headphones);
        pass(spacing);
        hardware().setDefaultInput(headsetMicrophone);
        pass(3s);
        hardware().removeDevice(headsetMicrophone);
        hardware().setDefaultInput(meeting->microphone);
        pass(spacing);
        hardware().removeDevice(headphones);
        hardware().setDefaultOutput(meeting->speaker);
        pass(3s);
        EXPECT_EQ(rebuilds(), 2) << spacing.count();
        EXPECT_EQ(microphoneRestarts(), 2) << spacing.count();
        ASSERT_NO_FATAL_FAILURE(finish());
        expectEverythingInPlace(std::to_string(spacing.count()), toleranceSamples);
        EXPECT_GT(system.fromFirst, 200000U);
        EXPECT_GT(microphone.fromFirst, 200000U);
    }
}

TEST_F(DualTrackDeviceChange, AMicrophoneThatIsAwayForSecondsLeavesAGapAsLong) {
    start();
    passGrace();
    hardware().removeDevice(meeting->microphone);
    hardware().setDefaultInput(std::nullopt);
    pass(3s);
    hardware().setDefaultInput(headsetMicrophone);
    pass(3s);
    finish();
    expectEverythingInPlace("", toleranceSamples);
    EXPECT_NEAR(static_cast<double>(microphone.silent), 3.61 * rate, 0.02 * rate);
}

}  // namespace
}  // namespace tapwell
