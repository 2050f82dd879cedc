#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Tapwell/MixBus/DualStreamMonoMixer.h"
#include "Tapwell/MixBus/DualStreamStereoLRMixer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tapwell {
namespace {

using testing::Each;
using testing::SizeIs;

struct Frame {
    MediaTime time;
    std::vector<float> samples;
};

template <typename Mixer>
struct MixerTest : testing::Test {
    SimulatedStandardStreams streams;
    Mixer mixer{48000,
                Log(streams, std::is_same_v<Mixer, DualStreamMonoMixer> ? "mix" : "stereo-lr")};
    std::vector<Frame> frames;
    DualStreamMixer::EmitFrame emit = [this](MediaTime time, std::vector<float> samples) {
        frames.push_back({time, std::move(samples)});
    };
    static constexpr std::size_t channels = std::is_same_v<Mixer, DualStreamMonoMixer> ? 1 : 2;

    static MediaTime seconds(double value) { return MediaTime::fromSeconds(value, 48000); }
    static std::vector<float> level(std::size_t count, float value) {
        return std::vector<float>(count, value);
    }
    void system(double time, std::size_t count, float value = 0.5F) {
        mixer.pushSystem(seconds(time), level(count, value));
    }
    void mic(double time, std::size_t count, float value = 0.1F) {
        mixer.pushMicrophone(seconds(time), level(count, value));
    }
    int logged(const std::string& text) const { return streams.countErrorLines(text); }
};

// What both layouts share.
using Mixers = testing::Types<DualStreamMonoMixer, DualStreamStereoLRMixer>;
template <typename Mixer>
struct DualStreamMixers : MixerTest<Mixer> {};
TYPED_TEST_SUITE(DualStreamMixers, Mixers);

TYPED_TEST(DualStreamMixers, ALaterMicrophoneGetsLeadingSilence) {
    this->system(10.0, 100);
    this->mic(10.1, 50);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 4800 + 50);
    EXPECT_EQ(this->mixer.queuedSystemSamples(), 100);
    EXPECT_TRUE(this->streams.errorLines().empty());
}

TYPED_TEST(DualStreamMixers, AnEarlierMicrophonePutsSilenceBeforeTheSystem) {
    this->mic(10.0, 50);
    this->system(10.05, 100);
    EXPECT_EQ(this->mixer.queuedSystemSamples(), 2400 + 100);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 50);
}

TYPED_TEST(DualStreamMixers, TheInitialSkewIsCappedAndLoggedOnce) {
    this->system(10.0, 100);
    this->mic(11.0, 50);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 12000 + 50);
    this->mic(15.0, 50);
    EXPECT_EQ(this->logged("initial PTS skew exceeded cap; clamped=12000 rawOffsetSamples=48000"),
              1);
    EXPECT_EQ(this->logged("initial PTS skew"), 1);
}

TYPED_TEST(DualStreamMixers, TheOffsetRoundsToTheNearestSampleAwayFromZero) {
    this->mixer.pushSystem(MediaTime::make(0, 96000), this->level(1, 0));
    this->mixer.pushMicrophone(MediaTime::make(5, 96000), this->level(1, 0));
    EXPECT_EQ(this->mixer.queuedMicSamples(), 3 + 1);
}

TYPED_TEST(DualStreamMixers, OnlyTheFirstTimesAlign) {
    this->system(10.0, 10);
    this->mic(10.0, 10);
    this->system(99.0, 10);
    this->mic(5.0, 10);
    EXPECT_EQ(this->mixer.queuedSystemSamples(), 20);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 20);
}

TYPED_TEST(DualStreamMixers, AnEmptyPushIsNoMicrophone) {
    this->mixer.pushMicrophone(this->seconds(1), {});
    EXPECT_FALSE(this->mixer.hasAnyMicSample());
    this->system(10.0, 10);
    this->mic(10.1, 10);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 4810) << "its time does not count either";
}

TYPED_TEST(DualStreamMixers, AStreamThatLagsIsPaddedByAFixedQuarterSecond) {
    this->system(0, 1);
    this->mic(0, 1);
    this->system(0, 20000);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 12001) << "not the whole difference";
    this->mic(0, 40000);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 52001);
    EXPECT_EQ(this->mixer.queuedSystemSamples(), 32001);
    this->mic(0, 1);
    EXPECT_EQ(this->mixer.queuedSystemSamples(), 44001) << "a larger gap closes over pushes";
    EXPECT_EQ(this->logged("padded mic for drift samples=12000"), 1);
    EXPECT_EQ(this->logged("padded system"), 0) << "one message for both directions";
}

TYPED_TEST(DualStreamMixers, ADifferenceOfExactlyTheCapIsLeftAlone) {
    this->system(0, 1);
    this->mic(0, 1);
    this->system(0, 12000);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 1);
    this->system(0, 1);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 12001);
    EXPECT_EQ(this->logged("padded mic for drift samples=12000"), 1);
}

TYPED_TEST(DualStreamMixers, WithoutAMicrophoneNothingIsPadded) {
    this->system(0, 100000);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 0);
    EXPECT_EQ(this->mixer.queuedSystemSamples(), 100000);
}

TYPED_TEST(DualStreamMixers, TimesCountTheSamplesGivenOut) {
    this->system(2.0, 2500);
    this->mixer.drain(this->emit);
    ASSERT_THAT(this->frames, SizeIs(2));
    this->mixer.flushTail(this->emit);
    ASSERT_THAT(this->frames, SizeIs(3));
    EXPECT_EQ(this->frames[0].time.value, 96000);
    EXPECT_EQ(this->frames[1].time.value, 96000 + 1024);
    EXPECT_EQ(this->frames[2].time.value, 96000 + 2048);
    EXPECT_EQ(this->frames[2].time.timescale, 48000);
    EXPECT_THAT(this->frames[2].samples, SizeIs(452 * this->channels));
}

TYPED_TEST(DualStreamMixers, LaterTimesDoNotMoveTheOutputClock) {
    this->system(1.0, 1024);
    this->mic(1.0, 1024);
    this->mixer.drain(this->emit);
    this->system(7.0, 1024);
    this->mic(9.0, 1024);
    this->mixer.drain(this->emit);
    ASSERT_THAT(this->frames, SizeIs(2));
    EXPECT_EQ(this->frames[1].time.value, 48000 + 1024);
}

TYPED_TEST(DualStreamMixers, TheTailPadsTheShorterStream) {
    this->system(0, 3000);
    this->mic(0, 1000);
    this->mixer.flushTail(this->emit);
    ASSERT_THAT(this->frames, SizeIs(3));
    EXPECT_THAT(this->frames[0].samples, SizeIs(1024 * this->channels));
    EXPECT_THAT(this->frames[1].samples, SizeIs(1024 * this->channels));
    EXPECT_THAT(this->frames[2].samples, SizeIs(952 * this->channels));
    EXPECT_TRUE(this->streams.errorLines().empty()) << "nothing is dropped";
    EXPECT_EQ(this->mixer.queuedSystemSamples(), 0);
    EXPECT_EQ(this->mixer.queuedMicSamples(), 0);
}

TYPED_TEST(DualStreamMixers, TheSessionBeginsWithTheFirstStreamThatHasATime) {
    this->mixer.pushMicrophone(MediaTime::make(77, 48000), this->level(2048, 0));
    this->mixer.ensureSessionPTS();
    this->mixer.pushSystem(MediaTime::make(77, 48000), this->level(2048, 0));
    this->mixer.drain(this->emit);
    EXPECT_EQ(this->frames[0].time.value, 77);
}

TYPED_TEST(DualStreamMixers, WithoutAnyTimeTheSessionBeginsAtZero) {
    this->mixer.pushSystem(MediaTime::invalid(), this->level(1024, 0));
    this->mixer.drain(this->emit);
    EXPECT_EQ(this->frames[0].time.seconds(), 0);
}

TYPED_TEST(DualStreamMixers, MixedFramesWaitForBothStreams) {
    this->system(0, 5000);
    this->mic(0, 1023);
    this->mixer.drain(this->emit);
    EXPECT_THAT(this->frames, SizeIs(0));
    this->mic(0, 1);
    this->mixer.drain(this->emit);
    EXPECT_THAT(this->frames, SizeIs(1));
}

TYPED_TEST(DualStreamMixers, AnInvalidOffsetBetweenTheStreamsEndsTheProcess) {
    this->system(0, 1);
    EXPECT_DEATH(this->mixer.pushMicrophone(MediaTime::invalid(), this->level(1, 0)),
                 "start times too far apart");
}

// What a frame is made of.
using MonoMixer = MixerTest<DualStreamMonoMixer>;
using StereoMixer = MixerTest<DualStreamStereoLRMixer>;

TEST_F(MonoMixer, SystemAloneKeepsItsFullGainClipped) {
    system(0, 1024, 0.5F);
    mixer.drain(emit);
    EXPECT_THAT(frames[0].samples, Each(0.5F));
    system(0, 1024, -1.5F);
    mixer.drain(emit);
    EXPECT_THAT(frames[1].samples, Each(-1.0F));
}

TEST_F(MonoMixer, BothAreMixedWithEqualWeightsAndTheBoostedMicrophone) {
    system(0, 1024, 0.5F);
    mic(0, 1024, 0.05F);
    mixer.drain(emit);
    EXPECT_THAT(frames[0].samples, Each(testing::FloatEq(0.25F + 0.15F)));
}

TEST_F(MonoMixer, LogsUnderItsArea) {
    system(0, 1);
    mic(9, 1);
    EXPECT_EQ(logged("[Tapwell][mix] initial PTS skew"), 1);
}

TEST_F(StereoMixer, WithoutAMicrophoneTheLeftSideIsSilent) {
    system(0, 1500, 0.5F);
    mixer.drain(emit);
    mixer.flushTail(emit);
    ASSERT_THAT(frames, SizeIs(2));
    EXPECT_THAT(frames[0].samples, SizeIs(2048));
    EXPECT_THAT(frames[1].samples, SizeIs(2 * 476));
    for (const Frame& frame : frames)
        for (std::size_t i = 0; i < frame.samples.size(); i += 2) {
            ASSERT_EQ(frame.samples[i], 0.0F);
            ASSERT_EQ(frame.samples[i + 1], 0.5F);
        }
}

TEST_F(StereoMixer, TheSidesKeepTheirLevels) {
    system(0, 1024, -2.0F);
    mic(0, 1024, 0.1F);
    mixer.drain(emit);
    EXPECT_FLOAT_EQ(frames[0].samples[0], 0.6F);
    EXPECT_EQ(frames[0].samples[1], -1.0F);
}

TEST_F(StereoMixer, TimesCountFramesAndNotValues) {
    system(1.0, 3072);
    mic(1.0, 3072);
    mixer.drain(emit);
    ASSERT_THAT(frames, SizeIs(3));
    EXPECT_EQ(frames[2].time.value, 48000 + 2048);
}

TEST_F(StereoMixer, LogsUnderItsArea) {
    system(0, 1);
    mic(9, 1);
    EXPECT_EQ(logged("[Tapwell][stereo-lr] initial PTS skew"), 1);
}

TEST(PreferredTimescale, IsTheRoundedRateWithinBounds) {
    EXPECT_EQ(preferredTimescale(44099.6), 44100);
    EXPECT_EQ(preferredTimescale(0.2), 1);
    EXPECT_EQ(preferredTimescale(384000), 192000);
}

}  // namespace
}  // namespace tapwell
