#include "Support/DeviceChange.h"
#include "Support/FramedStream.h"
#include "Tapwell/Outputs/RtmpsPcmStdoutSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using testing::StartsWith;

/// Changes of the devices while framed PCM goes out on standard output.
struct RtmpsDeviceChange : test::DeviceChange {
    static constexpr std::size_t samplesPerFrame = 1024;
    static constexpr std::size_t bytesPerFrame = 4 * samplesPerFrame;

    test::FramedStream stream;

    RtmpsDeviceChange() { prepareStream(); }

    void prepareStream() {
        code = test::TimeCode::swingingSlope();
        prepare();
        meeting->host.simulatedEnvironment.variables = {{"TL_RECORDER_RTMPS_MODE", "1"}};
    }
    void setReading(bool isReading) {
        meeting->host.simulatedQueues.find("Tapwell.RtmpsPcmStdoutSink.Write")
            ->setStalled(!isReading);
    }
    test::FramedStream readStream() {
        return test::FramedStream::of(meeting->host.simulatedStreams.output());
    }

    void stopAndRead() {
        ASSERT_TRUE(recorder->isRecording());
        recorder->stop();
        stream = readStream();
        ASSERT_NO_FATAL_FAILURE(expectWholeFramesBetweenWholeLines());
        expectNothingLeftBehind();
    }
    /// Stops, and takes the stream apart into its sides.
    void finishStream() {
        ASSERT_NO_FATAL_FAILURE(stopAndRead());
        expectCounters(0);
        microphone.samples = stream.left;
        system.samples = stream.right;
        judge();
    }
    /// The samples from `first` to before `last` of one side, judged; the first was captured at
    /// `begin`.
    test::TimeCodedSide judged(const std::vector<float>& side, std::size_t first, std::size_t last,
                               double begin) const {
        test::TimeCodedSide part;
        part.samples.assign(side.begin() + static_cast<std::ptrdiff_t>(first),
                            side.begin() + static_cast<std::ptrdiff_t>(last));
        part.judge(begin, code);
        return part;
    }
    /// When a sample of the left side was captured, from the one a thousand behind it.
    double captureTime(std::size_t index) const {
        return code.timeOf(stream.left, index + 1000) - 1000 / rate;
    }
    void expectWholeFramesBetweenWholeLines() {
        EXPECT_EQ(stream.rest, 0U);
        ASSERT_EQ(stream.lines.size(), 2U);
        EXPECT_THAT(stream.lines[0], StartsWith("{\"event\":\"started\""));
        EXPECT_THAT(stream.lines[1], StartsWith("{\"event\":\"finalized\""));
        EXPECT_TRUE(meeting->host.simulatedStreams.output().ends_with(stream.lines[1] + "\n"));
        ASSERT_FALSE(stream.payloadBytes.empty());
        EXPECT_TRUE(std::all_of(stream.payloadBytes.begin(), stream.payloadBytes.end() - 1,
                                [](std::size_t bytes) { return bytes == bytesPerFrame; }));
        EXPECT_EQ(stream.payloadBytes.back() % 4, 0U);
    }
    void expectCounters(std::size_t framesDropped) {
        const std::size_t bytes =
            std::accumulate(stream.payloadBytes.begin(), stream.payloadBytes.end(), std::size_t{0});
        EXPECT_EQ(bytes, 4 * stream.left.size());
        EXPECT_EQ(
            meeting->logged("RTMPS capture stopped: pcmBytesEmitted=" + std::to_string(bytes) +
                            " framesDropped=" + std::to_string(framesDropped) + "\n"),
            1);
        EXPECT_EQ(meeting->logged("RTMPS reader is too slow"), framesDropped > 0 ? 1 : 0);
    }
    void expectNothingLeftBehind() {
        EXPECT_EQ(hardware().listenerCount(), 0U);
        EXPECT_EQ(hardware().runningProcedures(), 0U);
        EXPECT_EQ(hardware().liveTaps() + hardware().liveAggregates(), 0U);
        const std::size_t calls = hardware().journal().size();
        const std::size_t bytes = meeting->host.simulatedStreams.output().size();
        pass(10s);
        EXPECT_EQ(hardware().journal().size(), calls);
        EXPECT_EQ(meeting->host.simulatedStreams.output().size(), bytes);
        EXPECT_FALSE(recorder->isRecording());
    }
};

TEST_F(RtmpsDeviceChange, TheCodeTellsWhereSamplesBelong) {
    start();
    pass(3s);
    ASSERT_NO_FATAL_FAILURE(finishStream());
    expectEverythingInPlace("", 0.1);
    EXPECT_EQ(system.silent + microphone.silent, 0U);
    EXPECT_GT(system.fromFirst, 130000U);
    EXPECT_GT(microphone.fromFirst, 130000U);
    EXPECT_NEAR(static_cast<double>(system.samples.size()), 3 * rate, 0.02 * rate);
}

TEST_F(RtmpsDeviceChange, TheCodeNoticesTwoLostSamplesAndALostSecond) {
    start();
    pass(4s);
    ASSERT_NO_FATAL_FAILURE(finishStream());
    const auto worstWithout = [this](std::size_t lost) {
        std::vector<float> side = stream.left;
        side.erase(side.begin() + 72000, side.begin() + 72000 + static_cast<std::ptrdiff_t>(lost));
        return judged(side, 0, side.size(), captureTime(0)).worst;
    };
    EXPECT_LT(worstWithout(0), 0.1);
    EXPECT_GT(worstWithout(2), 1.9);
    EXPECT_GT(worstWithout(48000), 47999);
}

TEST_F(RtmpsDeviceChange, TheOutputIsFollowed) {
    start();
    passGrace();
    hardware().setDefaultOutput(headphones);
    pass(4s);
    EXPECT_EQ(rebuilds(), 1);
    EXPECT_EQ(microphoneRestarts(), 0);
    EXPECT_EQ(hardware().liveTaps(), 1U);
    ASSERT_NO_FATAL_FAILURE(finishStream());
    expectEverythingInPlace();
    EXPECT_GT(system.fromFirst, 120000U);
    EXPECT_GT(system.fromNext, 160000U);
    EXPECT_EQ(microphone.silent, 0U);
    // The new device takes 80 ms to start, and the old one's last cycle was not whole.
    EXPECT_GE(system.silent, 3840U - edgeSamples);
    EXPECT_LE(system.silent, 3840U + 480U);
    EXPECT_NEAR(static_cast<double>(system.samples.size()), 6.51 * rate, 0.03 * rate);
}

TEST_F(RtmpsDeviceChange, TheInputIsFollowed) {
    start();
    passGrace();
    hardware().setDefaultInput(headsetMicrophone);
    pass(4s);
    EXPECT_EQ(rebuilds(), 0);
    EXPECT_EQ(microphoneRestarts(), 1);
    ASSERT_NO_FATAL_FAILURE(finishStream());
    expectEverythingInPlace();
    EXPECT_GT(microphone.fromFirst, 120000U);
    EXPECT_GT(microphone.fromNext, 150000U);
    EXPECT_EQ(system.silent, 0U);
    EXPECT_GE(microphone.silent, 2880U - edgeSamples);
    EXPECT_LE(microphone.silent, 2880U + 480U);
}

TEST_F(RtmpsDeviceChange, AHeadsetThatArrivesAndLeavesKeepsTheSidesTogether) {
    for (const auto spacing : {0ms, 300ms, 549ms, 700ms, 1100ms, 2000ms}) {
        const std::string what = "after " + std::to_string(spacing.count()) + " ms the other";
        prepareStream();
        start();
        passGrace();
        hardware().setDefaultOutput(headphones);
        pass(spacing);
        hardware().setDefaultInput(headsetMicrophone);
        pass(3s);
        hardware().setDefaultInput(meeting->microphone);
        pass(spacing);
        hardware().setDefaultOutput(meeting->speaker);
        pass(3s);
        EXPECT_EQ(rebuilds(), 2) << what;
        EXPECT_EQ(microphoneRestarts(), 2) << what;
        ASSERT_NO_FATAL_FAILURE(finishStream()) << what;
        expectEverythingInPlace(what);
        EXPECT_GT(system.fromNext, 90000U) << what;
        EXPECT_GT(microphone.fromNext, 50000U) << what;
        EXPECT_GT(system.samples[system.samples.size() - 2000], 0) << what;
        EXPECT_GT(microphone.samples[microphone.samples.size() - 2000], 0) << what;
    }
}

TEST_F(RtmpsDeviceChange, AMicrophoneThatIsAwayForSecondsLeavesAGapAsLong) {
    start();
    passGrace();
    hardware().removeDevice(meeting->microphone);
    hardware().setDefaultInput(std::nullopt);
    pass(3s);
    hardware().setDefaultInput(headsetMicrophone);
    pass(3s);
    ASSERT_NO_FATAL_FAILURE(finishStream());
    expectEverythingInPlace();
    EXPECT_EQ(system.silent, 0U);
    EXPECT_NEAR(static_cast<double>(microphone.silent), 3.61 * rate, 0.02 * rate);
    EXPECT_GT(microphone.fromNext, 100000U);
}

TEST_F(RtmpsDeviceChange, AnOutputThatIsAwayForSecondsLeavesAGapAsLong) {
    start();
    passGrace();
    hardware().removeDevice(meeting->speaker);
    hardware().setDefaultOutput(std::nullopt);
    pass(3s);
    hardware().setDefaultOutput(headphones);
    pass(3s);
    ASSERT_NO_FATAL_FAILURE(finishStream());
    expectEverythingInPlace();
    EXPECT_EQ(microphone.silent, 0U);
    EXPECT_NEAR(static_cast<double>(system.silent), 3.48 * rate, 0.02 * rate);
    EXPECT_GT(system.fromNext, 100000U);
}

TEST_F(RtmpsDeviceChange, LostCyclesLeaveSilenceAsLong) {
    meeting->microphoneDevice().losesCycle = [](std::int64_t cycle) { return cycle == 100; };
    meeting->speakerDevice().losesCycle = [](std::int64_t cycle) {
        return cycle >= 200 && cycle < 230;
    };
    start();
    pass(4s);
    ASSERT_NO_FATAL_FAILURE(finishStream());
    expectEverythingInPlace();
    EXPECT_EQ(microphone.silent, 480U);
    EXPECT_EQ(system.silent, 30 * 480U);
}

TEST_F(RtmpsDeviceChange, AReaderThatPausesThroughAChangeLosesWholeFramesAndTheirTimeAlone) {
    constexpr std::size_t framesThatWait = RtmpsPcmStdoutSink::kMaxPendingBytes / bytesPerFrame;
    start();
    passGrace();
    setReading(false);
    const std::size_t hole = (readStream().payloadBytes.size() + framesThatWait) * samplesPerFrame;
    hardware().setDefaultOutput(headphones);
    hardware().setDefaultInput(headsetMicrophone);
    pass(8s);
    setReading(true);
    pass(2s);
    EXPECT_EQ(rebuilds(), 1);
    EXPECT_EQ(microphoneRestarts(), 1);
    ASSERT_NO_FATAL_FAILURE(stopAndRead());
    ASSERT_GT(stream.left.size(), hole + 48000);
    const double missing = (captureTime(hole) - captureTime(0)) * rate - static_cast<double>(hole);
    const double framesMissing = std::round(missing / samplesPerFrame);
    EXPECT_NEAR(missing, framesMissing * samplesPerFrame, 1);
    EXPECT_NEAR(framesMissing, 8 * rate / samplesPerFrame - framesThatWait, 2);
    expectCounters(static_cast<std::size_t>(framesMissing));
    for (const auto* side : {&stream.left, &stream.right}) {
        const auto before = judged(*side, 0, hole, captureTime(0));
        EXPECT_LT(before.worst, 1);
        EXPECT_GT(before.fromFirst, 110000U);
        EXPECT_GT(before.fromNext, 150000U);
        const double holeEnd =
            captureTime(0) + (static_cast<double>(hole) + framesMissing * samplesPerFrame) / rate;
        const auto after = judged(*side, hole, side->size(), holeEnd);
        EXPECT_LT(after.worst, 1);
        EXPECT_EQ(after.fromFirst, 0U);
        EXPECT_GT(after.fromNext, 80000U);
        EXPECT_EQ(after.silent, 0U);
    }
}

TEST_F(RtmpsDeviceChange, StopInEveryPhaseOfAChangeLeavesNothingBehind) {
    // The tap is back 2.98 s after the change.
    for (auto moment = 0ms; moment <= 3100ms; moment += moment < 2900ms ? 100ms : 20ms) {
        const std::string what = std::to_string(moment.count()) + " ms after the change";
        prepareStream();
        start();
        passGrace();
        hardware().failNext("startDevice", -1, 2);
        hardware().setDefaultOutput(headphones);
        hardware().setDefaultInput(headsetMicrophone);
        pass(moment);
        ASSERT_NO_FATAL_FAILURE(finishStream()) << what;
        expectEverythingInPlace(what);
        // Silence at the very end, while both are between devices, is not added.
        EXPECT_NEAR(static_cast<double>(system.samples.size()),
                    rate * std::chrono::duration<double>(2500ms + moment).count(), 0.08 * rate)
            << what;
    }
}

}  // namespace
}  // namespace tapwell
