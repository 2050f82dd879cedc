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

    RtmpsDeviceChange() {
        isFramed = true;
        prepare();
    }
    void setReading(bool isReading) {
        meeting->host.simulatedQueues.find("Tapwell.RtmpsPcmStdoutSink.Write")
            ->setStalled(!isReading);
    }
    test::FramedStream readStream() {
        return test::FramedStream::of(meeting->host.simulatedStreams.output());
    }

    void finishStream() {
        ASSERT_NO_FATAL_FAILURE(finish());
        ASSERT_NO_FATAL_FAILURE(expectWholeFramesBetweenWholeLines());
        expectNothingLeftBehind();
    }
    void finishWholeStream() {
        ASSERT_NO_FATAL_FAILURE(finishStream());
        expectCounters(0);
    }
    /// The samples from `first` to before `last` of one side, judged; the first was captured at
    /// `begin`.
    test::TimeCodedSide judged(const std::vector<float>& side, std::size_t first, std::size_t last,
                               double begin) const {
        test::TimeCodedSide part;
        part.samples.assign(side.begin() + static_cast<std::ptrdiff_t>(first),
                            side.begin() + static_cast<std::ptrdiff_t>(last));
        part.judge(begin, timeCode());
        return part;
    }
    /// When a sample of the left side was captured, from the one a thousand behind it.
    double captureTime(std::size_t index) const {
        return timeCode().timeOf(stream.left, index + 1000) - 1000 / rate;
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

TEST_F(RtmpsDeviceChange, TheCodeNoticesTwoLostSamplesAndALostSecond) {
    start();
    pass(4s);
    ASSERT_NO_FATAL_FAILURE(finishWholeStream());
    const auto worstWithout = [this](std::size_t lost) {
        std::vector<float> side = stream.left;
        side.erase(side.begin() + 72000, side.begin() + 72000 + static_cast<std::ptrdiff_t>(lost));
        return judged(side, 0, side.size(), captureTime(0)).worst;
    };
    EXPECT_LT(worstWithout(0), 0.1);
    EXPECT_GT(worstWithout(2), 1.9);
    EXPECT_GT(worstWithout(48000), 47999);
}

TEST_F(RtmpsDeviceChange, AHeadsetThatArrivesAndLeavesKeepsTheSidesTogether) {
    for (const bool isOutputFirst : {true, false}) {
        for (const auto spacing : {0ms, 300ms, 549ms, 700ms, 1100ms, 2000ms}) {
            const std::string what = (isOutputFirst ? "output, " : "input, ") +
                                     std::to_string(spacing.count()) + " ms later the other";
            prepare();
            start();
            passGrace();
            change(isOutputFirst, spacing, headphones, headsetMicrophone);
            change(isOutputFirst, spacing, meeting->speaker, meeting->microphone);
            EXPECT_EQ(rebuilds(), 2) << what;
            EXPECT_EQ(microphoneRestarts(), 2) << what;
            ASSERT_NO_FATAL_FAILURE(finishWholeStream()) << what;
            expectEverythingInPlace(what);
            for (const test::TimeCodedSide* side : {&system, &microphone}) {
                EXPECT_GT(side->fromNext, 50000U) << what;
                EXPECT_GT(side->samples[side->samples.size() - 2000], 0) << what;
            }
        }
    }
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
    ASSERT_NO_FATAL_FAILURE(finishStream());
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
        recordIntoAFailingChange(moment);
        ASSERT_NO_FATAL_FAILURE(finishWholeStream()) << what;
        expectEverythingInPlace(what);
        // Silence at the very end, while both are between devices, is not added.
        EXPECT_NEAR(static_cast<double>(system.samples.size()),
                    rate * std::chrono::duration<double>(2500ms + moment).count(), 0.08 * rate)
            << what;
    }
}

}  // namespace
}  // namespace tapwell
