#include "Platform/RecorderError.h"
#include "Platform/Simulated/SimulatedHost.h"
#include "Support/HostConverters.h"
#include "Support/Pcm16Wav.h"
#include "Support/TemporaryDirectory.h"
#include "Tapwell/Outputs/DualTrackWavMergeAndEncode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using test::Pcm16Wav;
using testing::Each;
using testing::ElementsAre;
using Pads = DualTrackWavMergeAndEncode::Pads;
using Samples = std::vector<std::int16_t>;

struct DualTrackMerge : testing::Test {
    test::TemporaryDirectory folder;
    test::HostConverters converters;
    SimulatedHost host{converters};
    std::string output = folder.file("upload_audio.m4a");
    RecorderUploadLayout layout = RecorderUploadLayout::monoMix;
    DualTrackCaptureMeta meta;

    void merge(const Samples& system, const Samples& mic, std::uint32_t systemRate = 48000,
               std::uint32_t micRate = 48000) {
        Pcm16Wav::make(systemRate, system).write(folder.file("system.wav"));
        Pcm16Wav::make(micRate, mic).write(folder.file("mic.wav"));
        mergeFiles();
    }
    void mergeFiles() {
        DualTrackWavMergeAndEncode(
            {host.writers, host.simulatedQueues, host.simulatedClock, host.simulatedStreams})
            .merge({folder.file("system.wav"), folder.file("mic.wav")}, output, meta, layout);
    }
    RecorderError errorOf(const std::function<void()>& action) {
        try {
            action();
        } catch (const RecorderError& error) {
            return error;
        }
        return RecorderError(0, "none");
    }
    std::uint64_t ticks(double seconds) const {
        return static_cast<std::uint64_t>(seconds / host.simulatedClock.hostSeconds(1) + 0.5);
    }
    Pads pads(double systemAt, double micAt, double rate = 48000) const {
        return DualTrackWavMergeAndEncode::computeAlignmentPads(
            {ticks(micAt), ticks(systemAt)}, host.simulatedClock, rate, 0, 0, rate);
    }
    static Pads padsBySound(std::int64_t system, std::int64_t mic, double rate, double micRate) {
        return DualTrackWavMergeAndEncode::computeAlignmentPads({}, SimulatedHostClock(), rate,
                                                                system, mic, micRate);
    }
    const std::vector<float>& encoded() const { return host.writers.script.samples; }

    struct SimulatedHostClock : Clock {
        std::uint64_t hostTicks() const override { return 0; }
        Timebase timebase() const override { return {}; }
        Date now() const override { return {}; }
    };
};

TEST_F(DualTrackMerge, HostTimesMoveTheLaterTrack) {
    EXPECT_EQ(pads(0, 0.5), (Pads{0, 24000}));
    EXPECT_EQ(pads(0.5, 0), (Pads{24000, 0}));
    EXPECT_EQ(pads(3, 3), (Pads{0, 0}));
    EXPECT_EQ(pads(0, 40), (Pads{0, 30 * 48000}));
    EXPECT_EQ(pads(40, 0, 16000), (Pads{30 * 16000, 0}));
    EXPECT_EQ(pads(0, 1.4 / 48000), (Pads{0, 1}));
    EXPECT_EQ(pads(0, 1.6 / 48000), (Pads{0, 2}));
}

TEST_F(DualTrackMerge, WithoutHostTimesTheFirstSoundsTell) {
    EXPECT_EQ(padsBySound(100, 700, 48000, 48000), (Pads{0, 600}));
    EXPECT_EQ(padsBySound(700, 100, 48000, 48000), (Pads{600, 0}));
    EXPECT_EQ(padsBySound(0, 44100, 48000, 44100), (Pads{0, 48000}));
    EXPECT_EQ(padsBySound(0, 31 * 48000, 48000, 48000), (Pads{0, 30 * 48000}));
}

TEST_F(DualTrackMerge, OneHostTimeAloneDoesNotCount) {
    meta.micFirstHostAbsolute = ticks(5);
    merge(Samples(100, 10000), Samples(100, 10000));
    EXPECT_EQ(encoded().size(), 100U);
}

TEST_F(DualTrackMerge, TheTimelineIsAsLongAsTheLongerTrackWithItsPad) {
    meta = {ticks(0.5), ticks(0)};
    merge(Samples(30000, 16384), Samples(10000, 16384));
    ASSERT_EQ(encoded().size(), 34000U);
    const float one = 16384.0F / 32767;
    EXPECT_FLOAT_EQ(encoded()[23999], one * 0.5F);
    EXPECT_FLOAT_EQ(encoded()[24000], one * 0.5F + one * 0.5F);
    EXPECT_FLOAT_EQ(encoded()[29999], one);
    EXPECT_FLOAT_EQ(encoded()[30000], one * 0.5F);
}

TEST_F(DualTrackMerge, ChunksFollowOneAnotherInTime) {
    merge(Samples(10000, 1000), Samples(4000, 1000));
    std::vector<std::pair<std::int64_t, std::int64_t>> chunks;
    for (const SampleBuffer& buffer : host.writers.script.appended) {
        EXPECT_EQ(buffer.presentationTimeStamp().timescale, 48000);
        chunks.emplace_back(buffer.presentationTimeStamp().value, buffer.sampleCount());
    }
    EXPECT_THAT(chunks,
                ElementsAre(std::pair(0, 4096), std::pair(4096, 4096), std::pair(8192, 1808)));
    EXPECT_EQ(host.writers.script.settings.at(0).numberOfChannels, 1);
    EXPECT_EQ(host.writers.script.finishCalls, 1);
}

TEST_F(DualTrackMerge, ASilentTrackDoesNotHalveTheOther) {
    meta = {ticks(1), ticks(1)};
    merge(Samples(5000, -32768), Samples(6000, 500));
    ASSERT_EQ(encoded().size(), 6000U);
    EXPECT_FLOAT_EQ(encoded()[0], -32768.0F / 32767);
    EXPECT_EQ(encoded()[5500], 0.0F);
    host.writers.script = {};
    merge(Samples(6000, -500), Samples(5000, 8000));
    EXPECT_FLOAT_EQ(encoded()[0], 8000.0F / 32767);
    EXPECT_EQ(encoded()[5500], 0.0F);
}

TEST_F(DualTrackMerge, TheMixIsLimited) {
    merge(Samples(10, 32767), Samples(10, 32767));
    EXPECT_THAT(encoded(), Each(1.0F));
    host.writers.script = {};
    merge(Samples(10, -32768), Samples(10, -32768));
    EXPECT_THAT(encoded(), Each(-1.0F));
}

TEST_F(DualTrackMerge, SilenceMixesToSilence) {
    // Their lengths count as their first sounds.
    merge(Samples(9000, 3), Samples(5000, -3));
    EXPECT_THAT(encoded(), testing::AllOf(testing::SizeIs(13000), Each(0.0F)));
}

TEST_F(DualTrackMerge, StereoKeepsTheSidesApart) {
    layout = RecorderUploadLayout::stereoLR;
    merge(Samples(5000, -32768), Samples(5000, 8000));
    ASSERT_EQ(encoded().size(), 10000U);
    for (std::size_t i = 0; i < encoded().size(); i += 2) {
        ASSERT_FLOAT_EQ(encoded()[i], 8000.0F / 32767);
        ASSERT_EQ(encoded()[i + 1], -1.0F);
    }
    EXPECT_EQ(host.writers.script.settings.at(0).numberOfChannels, 2);
}

TEST_F(DualTrackMerge, StereoOfASilentTrackIsThatTrackAndSilence) {
    meta = {ticks(1), ticks(1)};
    layout = RecorderUploadLayout::stereoLR;
    merge(Samples(100, 16384), Samples(100, 200));
    EXPECT_FLOAT_EQ(encoded()[0], 200.0F / 32767) << "silence is not special here";
    EXPECT_FLOAT_EQ(encoded()[1], 16384.0F / 32767);
}

TEST_F(DualTrackMerge, StereoOfTwoSilentTracksIsAnErrorAndNoFile) {
    layout = RecorderUploadLayout::stereoLR;
    std::ofstream(output) << "earlier";
    const RecorderError error = errorOf([this] { merge(Samples(100, 0), Samples(100, 0)); });
    EXPECT_EQ(error.code(), 95);
    EXPECT_EQ(error.description(), "dual-track stereo merge: both WAVs silent");
    EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(DualTrackMerge, TwoEmptyTracksAreAnError) {
    const RecorderError error = errorOf([this] { merge({}, {}); });
    EXPECT_EQ(error.code(), 90);
    EXPECT_EQ(error.description(), "dual-track merge: both WAVs empty");
}

TEST_F(DualTrackMerge, OneEmptyTrackLeavesTheOther) {
    meta = {ticks(0), ticks(0)};
    merge(Samples(100, 8000), {});
    EXPECT_EQ(encoded().size(), 100U);
    host.writers.script = {};
    merge({}, Samples(100, 8000));
    EXPECT_EQ(encoded().size(), 100U);
}

TEST_F(DualTrackMerge, AnotherRateOfTheMicrophoneIsInterpolated) {
    meta = {ticks(0), ticks(0)};
    Samples ramp(4410);
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<std::int16_t>(i * 7);
    layout = RecorderUploadLayout::stereoLR;
    merge(Samples(9000, 1000), ramp, 48000, 44100);
    ASSERT_EQ(encoded().size(), 18000U);
    // A ramp stays one, also over the borders of chunks.
    for (std::size_t i = 0; i < 4798; ++i)
        ASSERT_EQ(std::lround(encoded()[2 * i] * 32767),
                  static_cast<std::int16_t>(static_cast<double>(i) * 44100 / 48000 * 7))
            << i;
    EXPECT_EQ(encoded()[2 * 4800], 0.0F) << "after its end";
}

TEST_F(DualTrackMerge, TheOutputRunsAtTheSystemsRate) {
    merge(Samples(100, 8000), Samples(300, 8000), 16000, 48000);
    EXPECT_EQ(host.writers.script.settings.at(0).sampleRate, 16000);
    EXPECT_EQ(host.writers.script.appended.at(0).presentationTimeStamp().timescale, 16000);
    EXPECT_EQ(encoded().size(), 100U);
}

TEST_F(DualTrackMerge, AnExistingFileIsReplaced) {
    std::ofstream(output) << "earlier";
    merge(Samples(100, 8000), Samples(100, 8000));
    EXPECT_EQ(encoded().size(), 100U);
}

TEST_F(DualTrackMerge, ATrackThatEndsBeforeItsHeaderSaysIsAnError) {
    auto wav = Pcm16Wav::make(48000, Samples(20000, 8000));
    wav.bytes.resize(44 + 2 * 9000);
    wav.write(folder.file("system.wav"));
    Pcm16Wav::make(48000, Samples(100, 8000)).write(folder.file("mic.wav"));
    EXPECT_EQ(errorOf([this] { mergeFiles(); }).description(), "WAV read short at frame 8192");
    EXPECT_TRUE(std::filesystem::exists(folder.file("system.wav")));
}

TEST_F(DualTrackMerge, TheEncodersErrorIsTheMergesError) {
    host.writers.script.failsFromAppend = 2;
    EXPECT_NE(errorOf([this] { merge(Samples(50000, 8000), Samples(100, 8000)); }).description(),
              "none");
    host.writers.script = {};
    host.writers.script.finishFails = true;
    EXPECT_NE(errorOf([this] { merge(Samples(5000, 8000), Samples(100, 8000)); }).description(),
              "none");
    host.writers.script = {};
    host.writers.script.refusesInput = true;
    EXPECT_EQ(errorOf([this] { merge(Samples(5000, 8000), Samples(100, 8000)); }).description(),
              "dual-track merge: the encoder could not be set up");
    host.writers.script = {};
    host.writers.script.failingAppends = {2};
    EXPECT_EQ(errorOf([this] { merge(Samples(50000, 8000), Samples(100, 8000)); }).description(),
              "dual-track merge: the encoder refused part of the audio");
}

TEST_F(DualTrackMerge, ASlowEncoderHoldsTheReaderBack) {
    host.writers.script.buffersPerBurst = 4;
    host.writers.script.busyTime = 10ms;
    merge(Samples(500000, 8000), Samples(500000, 4000));
    EXPECT_EQ(encoded().size(), 500000U);
    EXPECT_EQ(host.writers.script.appendCalls, 123);
    EXPECT_GT(host.time.now(), 250ms) << "it waited";
}

}  // namespace
}  // namespace tapwell
