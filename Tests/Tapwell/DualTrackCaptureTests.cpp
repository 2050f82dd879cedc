#include "Platform/Simulated/SimulatedHost.h"
#include "Support/HostConverters.h"
#include "Support/Pcm16Wav.h"
#include "Support/PcmBuffers.h"
#include "Support/TemporaryDirectory.h"
#include "Tapwell/Outputs/DualTrackPcmWavCaptureSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using test::Pcm16Wav;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

struct DualTrackCapture : testing::Test {
    test::TemporaryDirectory folder;
    test::HostConverters converters;
    SimulatedHost host{converters};
    std::int64_t maximumFrames = kMaximumWavFrames;
    std::int64_t bytes = 0;
    std::shared_ptr<DualTrackPcmWavCaptureSession> session;

    DualTrackPcmWavCaptureSession& begin(double rate = 48000) {
        session = DualTrackPcmWavCaptureSession::create(
            {host.simulatedFiles, converters, host.simulatedQueues, host.simulatedClock,
             host.simulatedStreams},
            {folder.file("system.wav"), folder.file("mic.wav")}, rate,
            [this](std::int64_t count) { bytes += count; }, maximumFrames);
        session->startWriters();
        session->setCaptureStarted(true);
        return *session;
    }
    std::uint64_t ticks(double seconds) const {
        return static_cast<std::uint64_t>(seconds / host.simulatedClock.hostSeconds(1) + 0.5);
    }
    /// A buffer whose first frame was captured at a moment; none known below 0.
    void system(double seconds, const PcmBuffer& buffer, std::optional<double> hint = {}) {
        AudioTimeStamp stamp;
        if (seconds >= 0) {
            stamp.hostTime = ticks(seconds);
            stamp.flags = AudioTimeStamp::kHostTimeValid;
        }
        session->handleSystem(buffer, stamp, hint);
        host.time.settle();
    }
    void system(double seconds, std::size_t frames, float value = 0.5F) {
        system(seconds, test::monoBuffer(48000, std::vector<float>(frames, value)));
    }
    void mic(double seconds, const PcmBuffer& buffer) {
        AudioTime when;
        when.isHostTimeValid = seconds >= 0;
        if (when.isHostTimeValid) when.hostTime = ticks(seconds);
        session->handleMicrophone(buffer, when);
        host.time.settle();
    }
    void mic(double seconds, std::size_t frames, float value = 0.25F) {
        mic(seconds, test::monoBuffer(48000, std::vector<float>(frames, value)));
    }
    void end() {
        session->setCaptureStarted(false);
        session->finalizeWritersSync();
    }
    std::vector<std::int16_t> systemTrack() const {
        return Pcm16Wav::read(folder.file("system.wav")).samples();
    }
    std::vector<std::int16_t> micTrack() const {
        return Pcm16Wav::read(folder.file("mic.wav")).samples();
    }
    int logged(const std::string& text) const {
        return host.simulatedStreams.countErrorLines(text);
    }
    double secondsBetweenTracks() const {
        const auto meta = session->captureMeta();
        return (static_cast<double>(*meta.systemFirstHostAbsolute) -
                static_cast<double>(*meta.micFirstHostAbsolute)) *
               host.simulatedClock.hostSeconds(1);
    }
};

TEST_F(DualTrackCapture, EachSourceHasAFileOfItsOwn) {
    begin();
    system(1, test::floatBuffer(48000, {std::vector(480, 0.5F), std::vector(480, 0.25F)}, true));
    mic(1, 480);
    end();
    EXPECT_THAT(systemTrack(), testing::AllOf(testing::SizeIs(480), Each(12287)));
    EXPECT_THAT(micTrack(), testing::AllOf(testing::SizeIs(480), Each(8191)));
    EXPECT_EQ(bytes, 1920);
    EXPECT_EQ(logged("dual-track first mic buffer: 480 frames"), 1);
}

TEST_F(DualTrackCapture, WithoutTimesTheSystemIsBroughtToTheMicrophonesLengthFirst) {
    begin();
    mic(-1, 48000);
    system(-1, 100);
    end();
    EXPECT_EQ(logged("dual-track timeline: padded system +48000 frames to match mic (sys=48000 "
                     "mic=48000)"),
              1);
    const auto track = systemTrack();
    ASSERT_EQ(track.size(), 48100U);
    EXPECT_EQ(track[47999], 0);
    EXPECT_EQ(track[48000], 16383);
}

TEST_F(DualTrackCapture, WithoutTimesTheFirstBuffersArrivalsPlaceTheTracks) {
    begin();
    host.time.advance(100ms);
    system(-1, 4800);
    host.time.advance(1900ms);
    mic(-1, 960);
    end();
    // Each arrived when its last frame was captured.
    EXPECT_NEAR(secondsBetweenTracks(), (0.1 - 0.1) - (2.0 - 0.02), 1e-6);
}

TEST_F(DualTrackCapture, WithoutAnyBufferThereIsNoTime) {
    begin();
    end();
    EXPECT_FALSE(session->captureMeta().systemFirstHostAbsolute);
    EXPECT_FALSE(session->captureMeta().micFirstHostAbsolute);
}

TEST_F(DualTrackCapture, ASystemThatBeginsLaterIsPrecededBySilence) {
    begin();
    mic(0, 48000);
    system(1, 480);
    end();
    EXPECT_EQ(logged("padded system +48000 frames"), 1);
    EXPECT_EQ(systemTrack().size(), 48480U);
    EXPECT_NEAR(secondsBetweenTracks(), 0, 1e-6);
}

TEST_F(DualTrackCapture, WhatTheMicrophoneRecordedMeanwhileIsNotMissing) {
    begin();
    // The microphone's queue is ahead: it has written what was captured after the system's buffer.
    for (int i = 0; i < 100; ++i)
        mic(i * 0.02, 960);
    for (int i = 0; i < 100; ++i)
        system(i * 0.02, 960);
    end();
    EXPECT_EQ(logged("padded"), 0);
    EXPECT_THAT(systemTrack(), testing::AllOf(testing::SizeIs(96000), Each(16383)));
}

TEST_F(DualTrackCapture, AMicrophoneQueueThatLagsDoesNotSpoilTheAlignment) {
    begin();
    mic(0, 40000);  // of the 48000 that were captured
    system(1, 480);
    end();
    EXPECT_EQ(logged("padded system +40000 frames"), 1);
    EXPECT_NEAR(secondsBetweenTracks(), 8000.0 / 48000, 1e-6);
}

TEST_F(DualTrackCapture, AGapOfTheSystemIsFilledToTheFrame) {
    begin();
    system(0, 4800);
    mic(0.05, 4800);
    mic(0.15, 48000);
    system(1.1, 4800);
    end();
    EXPECT_EQ(logged("padded system +48000 frames"), 1);
    const auto track = systemTrack();
    EXPECT_EQ(track.size(), 4800U + 48000 + 4800);
    EXPECT_EQ(track[4799], 16383);
    EXPECT_EQ(track[4800], 0);
    EXPECT_EQ(track[52799], 0);
    EXPECT_EQ(track[52800], 16383);
}

TEST_F(DualTrackCapture, AClockThatWandersLeavesNoHoles) {
    begin();
    double time = 0;
    for (int i = 0; i < 200; ++i) {
        system(time + (i % 2 == 0 ? 0.0 : 0.008), 480);
        mic(time + (i % 3 == 0 ? 0.0 : 0.008), 480);
        time += 0.01;
    }
    end();
    EXPECT_THAT(systemTrack(), testing::AllOf(testing::SizeIs(96000), Each(16383)));
    EXPECT_THAT(micTrack(), testing::AllOf(testing::SizeIs(96000), Each(8191)));
}

TEST_F(DualTrackCapture, AtTheEndTheSystemIsNoShorterThanTheMicrophone) {
    begin();
    system(0, 480);
    mic(0, 960);
    end();
    EXPECT_EQ(systemTrack().size(), 960U);
    EXPECT_EQ(logged("padded system +480 frames to match mic (sys=960 mic=960)"), 1);
}

TEST_F(DualTrackCapture, AnInterruptedMicrophoneIsPlacedExactly) {
    begin();
    mic(0, 4800);
    session->resetMicrophonePathForRouteChange();
    session->insertMicrophoneSilenceForRouteGap(24000);
    session->insertMicrophoneSilenceForRouteGap(0);
    session->insertMicrophoneSilenceForRouteGap(-3);
    // The new device's first sample came 5 ms after its path was there.
    mic(0.605, 480);
    end();
    const auto track = micTrack();
    ASSERT_EQ(track.size(), 29040U + 480);
    EXPECT_EQ(track[29039], 0);
    EXPECT_EQ(track[29040], 8191);
}

TEST_F(DualTrackCapture, AnInterruptedSystemIsPlacedExactly) {
    begin();
    system(0, 4800);
    session->resetSystemPathForRouteChange();
    system(0.105, 480);
    end();
    EXPECT_EQ(systemTrack().size(), 5040U + 480);
}

TEST_F(DualTrackCapture, NothingIsWrittenBeforeCaptureStartsNorAfterItEnds) {
    begin();
    session->setCaptureStarted(false);
    system(0, 480);
    mic(0, 480);
    EXPECT_EQ(bytes, 0);
    session->setCaptureStarted(true);
    system(1, 480);
    end();
    system(2, 480);
    mic(2, 480);
    EXPECT_EQ(systemTrack().size(), 480U);
    EXPECT_EQ(micTrack().size(), 0U);
    session->logDiagnosticsAfterStopCapture();
    EXPECT_EQ(logged("dual-track after stop: mic callbacks=0; system callbacks=1; "
                     "mixBusHz=48000.0"),
              1);
}

TEST_F(DualTrackCapture, OtherRatesAreResampled) {
    begin();
    system(0, test::monoBuffer(44100, std::vector<float>(441, 0.5F)));
    mic(0, test::monoBuffer(16000, std::vector<float>(160, 0.5F)));
    end();
    EXPECT_EQ(systemTrack().size(), 480U);
    EXPECT_EQ(micTrack().size(), 480U);
    EXPECT_EQ(logged("dual-track system linear content 44100.0→48000.0"), 1);
}

TEST_F(DualTrackCapture, TheAggregatesRateIsTheContentsRate) {
    begin();
    system(0, test::monoBuffer(48000, std::vector<float>(240, 0.5F)), 24000);
    end();
    EXPECT_EQ(systemTrack().size(), 480U);
}

TEST_F(DualTrackCapture, EachMicrophoneRouteWarnsOnce) {
    begin();
    const auto odd = [](double rate) {
        return test::floatBuffer(rate, std::vector(4, std::vector(480, 0.5F)), true);
    };
    mic(0, odd(48000));
    mic(0, odd(48000));
    EXPECT_EQ(logged("dual-track mic path failed: Unsupported channel layout for fast path"), 1);
    mic(0, odd(44100));  // another format
    mic(0, odd(44100));
    EXPECT_EQ(logged("dual-track mic path failed: "), 2);
    session->resetMicrophonePathForRouteChange();
    mic(0, odd(44100));
    EXPECT_EQ(logged("dual-track mic path failed: "), 3);
    system(0, odd(48000));
    EXPECT_EQ(logged("dual-track system path failed: Unsupported channel layout"), 1);
    mic(0, 480);
    end();
    EXPECT_EQ(micTrack().size(), 480U) << "the next good buffer is recorded";
}

TEST_F(DualTrackCapture, ATrackThatIsFullEndsAndTheOtherGoesOn) {
    maximumFrames = 1000;
    begin();
    for (int i = 0; i < 4; ++i)
        mic(i * 0.01, 480);
    system(0, 480);
    end();
    EXPECT_THAT(micTrack(), testing::AllOf(testing::SizeIs(1000), Each(8191)));
    EXPECT_EQ(logged("dual-track mic track is full after 1000 frames"), 1);
    EXPECT_EQ(systemTrack().size(), 1000U);
    EXPECT_EQ(systemTrack()[479], 16383);
}

TEST_F(DualTrackCapture, ADiskThatIsFullEndsATrackWithWhatFitted) {
    begin();
    system(0, 480);
    mic(0, 480);
    host.simulatedFiles.bytesLeft = 1000;
    for (int i = 1; i < 4; ++i) {
        mic(i * 0.01, 480);
        system(i * 0.01, 480);
    }
    end();
    EXPECT_EQ(micTrack().size(), 960U);
    EXPECT_EQ(systemTrack().size(), 480U);
    EXPECT_EQ(logged("dual-track mic track ends here: no space left"), 1);
    EXPECT_EQ(logged("dual-track system track ends here: no space left"), 1);
    EXPECT_EQ(Pcm16Wav::read(folder.file("mic.wav")).dataSize(), 1920U);
}

TEST_F(DualTrackCapture, TranscriptionHearsBothSidesInPairs) {
    begin();
    std::vector<float> heard;
    std::vector<bool> timed;
    session->setSttCallback([&](std::span<const float> samples, MediaTime time) {
        heard.insert(heard.end(), samples.begin(), samples.end());
        timed.push_back(time.isValid());
    });
    host.time.settle();
    system(0, 300, 0.5F);
    EXPECT_THAT(heard, IsEmpty()) << "one side alone waits";
    mic(0, 200, 0.25F);
    EXPECT_THAT(heard, testing::AllOf(testing::SizeIs(200), Each(0.375F)));
    mic(0, 200, 0.25F);
    EXPECT_EQ(heard.size(), 300U);
    session->setSttCallback(nullptr);
    host.time.settle();
    mic(0, 200);
    system(0, 200);
    end();
    EXPECT_EQ(heard.size(), 300U);
    EXPECT_THAT(timed, Each(false));
}

TEST_F(DualTrackCapture, ASideThatFallsSilentDoesNotSilenceTheOther) {
    begin();
    std::vector<float> heard;
    session->setSttCallback([&](std::span<const float> samples, MediaTime) {
        heard.insert(heard.end(), samples.begin(), samples.end());
    });
    host.time.settle();
    for (int i = 0; i < 10; ++i)
        system(i, 48000, 0.5F);
    EXPECT_THAT(heard, testing::AllOf(testing::SizeIs(8U * 48000), Each(0.25F)))
        << "all but what may still find its partner";
    end();
}

TEST_F(DualTrackCapture, WithoutTranscriptionNothingIsQueuedForIt) {
    begin();
    const auto queue = host.simulatedQueues.find("Tapwell.DualTrackPcmWavCaptureSession.STT");
    ASSERT_NE(queue, nullptr);
    queue->setStalled(true);
    system(0, 480);
    mic(0, 480);
    std::vector<float> heard;
    session->setSttCallback([&](std::span<const float> samples, MediaTime) {
        heard.assign(samples.begin(), samples.end());
    });
    queue->setStalled(false);
    host.time.settle();
    EXPECT_THAT(heard, IsEmpty());
    end();
}

TEST_F(DualTrackCapture, TheAttributorFollowsBothLevels) {
    begin();
    auto attributor = std::make_shared<SpeakerAttributor>();
    session->setSpeakerAttributor(attributor);
    session->setSttCallback([](std::span<const float>, MediaTime) {});
    host.time.settle();
    for (int i = 0; i < 20; ++i)
        system(i, 480, 0.8F);
    EXPECT_EQ(attributor->currentSpeaker(), "Others");
    for (int i = 0; i < 20; ++i) {
        system(20 + i, 480, 0.0F);
        mic(20 + i, 480, 0.8F);
    }
    EXPECT_EQ(attributor->currentSpeaker(), "You");
    end();
}

TEST_F(DualTrackCapture, BuffersOnTheirWayAreDroppedWithTheSession) {
    begin();
    const auto queue = host.simulatedQueues.find("Tapwell.DualTrackPcmWavCaptureSession.MicWrite");
    ASSERT_NE(queue, nullptr);
    queue->setStalled(true);
    mic(0, 480);
    session.reset();
    host.time.advance(1s);
    EXPECT_EQ(micTrack().size(), 0U);
}

TEST_F(DualTrackCapture, RatesThatCannotBeAreRefused) {
    EXPECT_THROW(begin(7999), RecorderError);
    EXPECT_THROW(begin(192001), RecorderError);
    EXPECT_THAT(folder.names(), IsEmpty());
}

}  // namespace
}  // namespace tapwell
