#include "Platform/Simulated/SimulatedAssetWriter.h"
#include "Platform/Simulated/SimulatedClock.h"
#include "Platform/Simulated/SimulatedQueueFactory.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Support/HostConverters.h"
#include "Support/PcmBuffers.h"
#include "Support/TemporaryDirectory.h"
#include "Support/ToneAnalysis.h"
#include "Tapwell/MixBus/MixedPCMFeedRouter.h"

#include <gtest/gtest.h>

#include <cmath>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using test::monoBuffer;

struct Router : testing::Test {
    test::TemporaryDirectory folder;
    VirtualTime time;
    SimulatedClock clock{time};
    SimulatedQueueFactory queues{time};
    SimulatedAssetWriterFactory writers{time};
    SimulatedStandardStreams streams;
    test::HostConverters converters;
    std::shared_ptr<TrackSink> sink =
        TrackSink::create({writers, queues, streams}, folder.file("a.m4a"), "mixed",
                          TrackSinkEncoding::mixedMonoFloatPCMToAAC, [](std::int64_t) {});
    std::shared_ptr<MixedPCMFeedRouter> router = make(RecorderUploadLayout::monoMix);

    std::shared_ptr<MixedPCMFeedRouter> make(RecorderUploadLayout layout, double rate = 48000) {
        return MixedPCMFeedRouter::create({queues, clock, converters, streams}, sink, rate, layout);
    }
    static AudioTimeStamp stamp(double sampleTime, std::optional<double> hostSeconds,
                                bool sampleValid = true) {
        AudioTimeStamp result;
        result.sampleTime = sampleTime;
        result.hostTime = static_cast<std::uint64_t>(std::llround(hostSeconds.value_or(0) * 24e6));
        result.flags = (sampleValid ? AudioTimeStamp::kSampleTimeValid : 0U) |
                       (hostSeconds ? AudioTimeStamp::kHostTimeValid : 0U);
        return result;
    }
    void system(double sampleTime, std::optional<double> hostSeconds, std::size_t count = 480,
                float level = 0.5F) {
        router->handleSystem(monoBuffer(48000, std::vector<float>(count, level)),
                             stamp(sampleTime, hostSeconds), std::nullopt);
    }
    void microphone(double hostSeconds, std::size_t count = 480, float level = 0.1F) {
        router->handleMicrophone(monoBuffer(48000, std::vector<float>(count, level)),
                                 AudioTime(stamp(0, hostSeconds), 48000));
    }
    const std::vector<SampleBuffer>& appended() {
        time.settle();
        return writers.script.appended;
    }
    int logged(const std::string& text) const {
        return streams.countErrorLines("[Tapwell][mic-debug] " + text);
    }
    std::string stopDiagnostics() {
        router->logDiagnosticsAfterStopCapture();
        return streams.errorLines().at(streams.errorLines().size() - 2);
    }
};

TEST_F(Router, BuffersBeforeTheStartAreCountedAndDropped) {
    microphone(1.0);
    microphone(1.01);
    system(0, 1.0);
    router->setCaptureStarted(true);
    for (int i = 0; i < 3; ++i)
        system(480 * i, 1.02 + 0.01 * i, 1024);
    EXPECT_EQ(appended().size(), 3U) << "no microphone sample reached the mixer";
    EXPECT_EQ(stopDiagnostics(),
              "[Tapwell][mic-debug] after stop: layout=monoMix mic callbacks=0 "
              "droppedBeforeCaptureStarted=2 invalid=0; system callbacks=3; "
              "mixer.hasAnyMicSample=false; mixBusHz=48000.0\n");
}

TEST_F(Router, TheMicrophoneReportsItsFirstAndEvery250thCallback) {
    router->setCaptureStarted(true);
    for (int i = 0; i < 501; ++i)
        microphone(1.0 + 0.01 * i);
    EXPECT_EQ(logged("mic callback 1: 480 frames"), 1);
    EXPECT_EQ(logged("mic callback 250: 480 frames"), 1);
    EXPECT_EQ(logged("mic callback 500: 480 frames"), 1);
    EXPECT_EQ(logged("mic callback"), 3);
}

TEST_F(Router, AMicrophoneBufferWithoutFramesIsInvalid) {
    router->setCaptureStarted(true);
    const auto empty =
        *PcmBuffer::withCapacity(*AudioFormat::make(CommonFormat::pcmFloat32, 48000, 1, false), 16);
    router->handleMicrophone(empty, AudioTime());
    EXPECT_NE(stopDiagnostics().find("mic callbacks=1 droppedBeforeCaptureStarted=0 invalid=1"),
              std::string::npos);
}

TEST_F(Router, AMicrophoneConversionFailureIsLoggedOnce) {
    router->setCaptureStarted(true);
    const auto unsupported =
        *PcmBuffer::withCapacity(*AudioFormat::make(CommonFormat::pcmFloat64, 44100, 1, false), 16);
    auto buffer = unsupported;
    buffer.setFrameLength(16);
    for (int i = 0; i < 3; ++i)
        router->handleMicrophone(buffer, AudioTime());
    EXPECT_EQ(logged("mic convert failed: No AVAudioConverter"), 1);
}

TEST_F(Router, AFilterThatFillsIsNoFailure) {
    router->setCaptureStarted(true);
    router->handleMicrophone(monoBuffer(44100, std::vector<float>(64, 0.1F)),
                             AudioTime(stamp(0, 1.0), 44100));
    EXPECT_EQ(logged("mic convert"), 0);
}

TEST_F(Router, FramesCarryTheHostTimeOfTheFirstSample) {
    router->setCaptureStarted(true);
    system(0, 100.0, 2048);
    ASSERT_EQ(appended().size(), 2U);
    EXPECT_EQ(appended()[0].presentationTimeStamp().value, 4'800'000);
    EXPECT_EQ(appended()[1].presentationTimeStamp().value, 4'801'024);
}

TEST_F(Router, WithoutHostTimesTheSampleTimeCounts) {
    router->setCaptureStarted(true);
    system(48000, std::nullopt, 1024);
    EXPECT_EQ(appended().at(0).presentationTimeStamp().seconds(), 1.0);
}

TEST_F(Router, WithoutHostTimesAHintDividesTheSampleTime) {
    router->setCaptureStarted(true);
    router->handleSystem(monoBuffer(48000, std::vector<float>(8192, 0.5F)),
                         stamp(44100, std::nullopt), 44100.0);
    EXPECT_NEAR(appended().at(0).presentationTimeStamp().seconds(), 1.0, 1e-4);
}

TEST_F(Router, BothStreamsAreAlignedAndMixed) {
    router->setCaptureStarted(true);
    system(0, 10.0, 2048, 0.5F);
    microphone(10.0 + 512.0 / 48000, 2048, 0.05F);
    ASSERT_EQ(appended().size(), 2U) << "system frames that were given out alone stay so";
    for (int i = 0; i < 4; ++i) {
        system(2048 + 1024 * i, 10.0 + (2048 + 1024 * i) / 48000.0, 1024, 0.5F);
        microphone(10.0 + (2560 + 1024 * i) / 48000.0, 1024, 0.05F);
    }
    const auto& samples = writers.script.samples;
    time.settle();
    // 512 samples of silence lead the microphone from where mixing began.
    EXPECT_FLOAT_EQ(samples[2048 + 511], 0.25F);
    EXPECT_FLOAT_EQ(samples[2048 + 512], 0.25F + 0.15F);
}

TEST_F(Router, AnExpectedMicrophoneHoldsTheSystemBackUntilItsFirstSamples) {
    router->expectMicrophone();
    router->setCaptureStarted(true);
    for (int i = 0; i < 3; ++i)
        system(1024 * i, 10.0 + 1024 * i / 48000.0, 1024);
    EXPECT_TRUE(appended().empty()) << "nothing is given out alone";
    microphone(10.0, 1024, 0.05F);
    ASSERT_EQ(appended().size(), 1U);
    EXPECT_FLOAT_EQ(writers.script.samples[0], 0.25F + 0.15F);
}

TEST_F(Router, AnExpectedMicrophoneThatStaysAwayIsNotWaitedForLong) {
    router->expectMicrophone();
    router->setCaptureStarted(true);
    for (int i = 0; i < 23; ++i)
        system(1024 * i, 10.0 + 1024 * i / 48000.0, 1024);
    EXPECT_TRUE(appended().empty());
    system(1024 * 23, 10.0 + 1024 * 23 / 48000.0, 1024);
    EXPECT_EQ(appended().size(), 24U) << "half a second is the limit, and nothing is lost";
    EXPECT_EQ(appended()[0].presentationTimeStamp().seconds(), 10.0);
}

TEST_F(Router, HeldBackAudioIsPartOfTheTail) {
    router->expectMicrophone();
    router->setCaptureStarted(true);
    system(0, 10.0, 1500);
    router->flushMixedTail();
    std::int64_t total = 0;
    for (const auto& buffer : appended())
        total += buffer.sampleCount();
    EXPECT_EQ(total, 1500);
}

TEST_F(Router, TheTailReachesTheSinkBeforeFlushReturns) {
    router->setCaptureStarted(true);
    microphone(1.0, 700);
    system(0, 1.0, 1500);
    router->flushMixedTail();
    std::int64_t total = 0;
    for (const auto& buffer : appended())
        total += buffer.sampleCount();
    EXPECT_EQ(total, 1500);
}

TEST_F(Router, TheFiltersTailsAreInTheRecording) {
    router->expectMicrophone();
    router->setCaptureStarted(true);
    // One second of each, at rates that need converting; both must come out whole.
    for (int i = 0; i < 100; ++i) {
        router->handleSystem(monoBuffer(44100, std::vector<float>(441, 0.5F)),
                             stamp(441 * i, 1.0 + 0.01 * i), std::nullopt);
        router->handleMicrophone(monoBuffer(16000, std::vector<float>(160, 0.05F)),
                                 AudioTime(stamp(160 * i, 1.0 + 0.01 * i), 16000));
    }
    router->flushMixedTail();
    time.settle();
    EXPECT_NEAR(static_cast<double>(writers.script.samples.size()), 48000, 2);
    EXPECT_NEAR(writers.script.samples[47900], 0.4F, 0.02F);
}

TEST_F(Router, ReleasedRoutersLeaveQueuedBuffersWithoutEffect) {
    router->setCaptureStarted(true);
    system(0, 1.0, 4096);
    router.reset();
    EXPECT_TRUE(appended().empty());
}

TEST_F(Router, TheStereoLayoutPutsTheMicrophoneLeft) {
    router = make(RecorderUploadLayout::stereoLR);
    router->setCaptureStarted(true);
    system(0, 1.0, 1024, 0.5F);
    microphone(1.0, 1024, 0.05F);
    router->flushMixedTail();
    // The first system frame went out alone; the microphone's follows against padding.
    const auto& samples = writers.script.samples;
    time.settle();
    EXPECT_EQ(samples[1], 0.5F);
    EXPECT_FLOAT_EQ(samples[2048], 0.3F);
}

TEST_F(Router, TranscriptionGetsTheMixedMonoSamples) {
    std::size_t fed = 0;
    router->setSttCallback(
        [&](std::span<const float> samples, MediaTime) { fed += samples.size(); });
    router->setCaptureStarted(true);
    system(0, 1.0, 2048);
    time.settle();
    EXPECT_EQ(fed, 2048U);
    router->setSttCallback(nullptr);
    system(0, 1.0, 2048);
    time.settle();
    EXPECT_EQ(fed, 2048U);
}

TEST_F(Router, TheDiagnosticsTellOfTheSink) {
    router->setCaptureStarted(true);
    system(0, 1.0, 2048);
    time.settle();
    router->logDiagnosticsAfterStopCapture();
    EXPECT_EQ(logged("mixed TrackSink before finishWriting: appendedBuffers=2 appendFailures=0 "
                     "hadAnySample=true bytes=8192"),
              1);
}

struct ClockEstimate : testing::Test {
    VirtualTime time;
    SimulatedClock clock{time};
    SystemClockEstimate estimate{clock};

    void update(double sampleTime, double hostSeconds) {
        estimate.update(Router::stamp(sampleTime, hostSeconds));
    }
};

TEST_F(ClockEstimate, NeedsTwoStampsWithBothTimes) {
    update(0, 1.0);
    EXPECT_FALSE(estimate.hz());
    estimate.update(Router::stamp(480, std::nullopt));
    estimate.update(Router::stamp(480, 1.01, false));
    EXPECT_FALSE(estimate.hz());
    update(480, 1.01);
    EXPECT_NEAR(*estimate.hz(), 48000, 0.1);
}

TEST_F(ClockEstimate, IsSmoothed) {
    update(0, 1.0);
    update(480, 1.01);
    update(970, 1.02);
    EXPECT_NEAR(*estimate.hz(), 49000 * 0.08 + 48000 * 0.92, 0.5);
}

TEST_F(ClockEstimate, IsNotMovedByTooShortASpan) {
    update(0, 1.0);
    update(480, 1.01);
    const double before = *estimate.hz();
    update(488, 1.02);  // 8 samples
    EXPECT_EQ(*estimate.hz(), before);
    update(988, 1.0201);  // not more than 0.1 ms
    EXPECT_EQ(*estimate.hz(), before);
    update(988 + 480, 1.0301);
    EXPECT_NEAR(*estimate.hz(), 48000, 1) << "but both moved the reference";
}

TEST_F(ClockEstimate, IsNotTrustedWhileTheLatestMeasurementDisagrees) {
    for (int i = 0; i < 10; ++i)
        update(480 * i, 1.0 + 0.01 * i);
    EXPECT_TRUE(estimate.settledHz());
    update(480 * 10, 1.0 + 0.10 + 0.5);  // a stall of half a second
    EXPECT_FALSE(estimate.settledHz());
    EXPECT_TRUE(estimate.hz());
    update(480 * 11, 1.0 + 0.11 + 0.5);
    EXPECT_FALSE(estimate.settledHz()) << "the average is still off";
    for (int i = 12; i < 80; ++i)
        update(480 * i, 1.5 + 0.01 * i);
    EXPECT_TRUE(estimate.settledHz());
}

}  // namespace
}  // namespace tapwell
