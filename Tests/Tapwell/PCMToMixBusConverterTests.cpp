#include "Platform/RecorderError.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Support/HostConverters.h"
#include "Support/PcmBuffers.h"
#include "Support/ToneAnalysis.h"
#include "Tapwell/MixBus/PCMToMixBusConverter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace tapwell {
namespace {

using test::floatBuffer;
using test::int16Buffer;
using test::makeTone;
using test::monoBuffer;
using testing::ElementsAre;
using testing::SizeIs;

/// A change of pitch by 40 parts per million within a window, phase unbroken, fits a steady tone to
/// about -74 dB. One sample lost or repeated is a break of -18 dB.
constexpr double kNoBreakDb = -70;

/// A platform converter that takes everything and yields nothing.
class DeadConverter final : public SampleRateConverter {
public:
    OutputStatus convert(PcmBuffer& output, const InputBlock& input, std::string&) override {
        output.setFrameLength(0);
        InputStatus status = InputStatus::haveData;
        while (const PcmBuffer* slice = input(100, status))
            taken_ += slice->frameLength();
        return OutputStatus::inputRanDry;
    }
    bool adjustSourceSampleRate(double) override { return true; }
    double heldBackFrames() const override { return taken_; }
    double maximumHeldBackFrames() const override { return 0; }
    OutputStatus finish(PcmBuffer& output, std::string&) override {
        output.setFrameLength(0);
        return OutputStatus::inputRanDry;
    }

private:
    double taken_ = 0;
};

class DeadConverterFactory final : public SampleRateConverterFactory {
public:
    std::unique_ptr<SampleRateConverter> makeConverter(const AudioFormat&,
                                                       const AudioFormat&) override {
        return std::make_unique<DeadConverter>();
    }
};

class NoConverterFactory final : public SampleRateConverterFactory {
public:
    std::unique_ptr<SampleRateConverter> makeConverter(const AudioFormat&,
                                                       const AudioFormat&) override {
        return nullptr;
    }
};

struct MixBusConverter : testing::Test {
    SimulatedStandardStreams streams;
    test::HostConverters converters;
    Log log{streams, "pcm-mix-bus"};

    PCMToMixBusConverter make(double rate) { return PCMToMixBusConverter(rate, converters, log); }
    int logged(const std::string& text) const {
        return streams.countErrorLines("[Tapwell][pcm-mix-bus] " + text);
    }
    template <typename Call>
    static std::string failure(Call call) {
        try {
            call();
        } catch (const RecorderError& error) {
            return std::to_string(error.code()) + " " + error.description();
        }
        return "no error";
    }
    /// All samples of a stream cut into buffers of the given sizes, in turn.
    static std::vector<float> convertCut(
        PCMToMixBusConverter& converter, double rate, std::span<const float> stream,
        std::vector<std::size_t> sizes,
        std::function<std::optional<double>(std::size_t)> hint = [](std::size_t) {
            return std::nullopt;
        }) {
        std::vector<float> all;
        std::size_t at = 0;
        for (std::size_t i = 0; at < stream.size(); ++i) {
            const std::size_t count = std::min(sizes[i % sizes.size()], stream.size() - at);
            const auto chunk = converter.convert(
                monoBuffer(rate, stream.subspan(at, count)),
                MediaTime::fromSeconds(static_cast<double>(at) / rate, 48000), hint(at));
            all.insert(all.end(), chunk.samples.begin(), chunk.samples.end());
            at += count;
        }
        const auto tail = converter.finish();
        all.insert(all.end(), tail.samples.begin(), tail.samples.end());
        return all;
    }
};

TEST_F(MixBusConverter, AMixRateOutOfRangeIsRefused) {
    EXPECT_EQ(failure([&] { make(7999); }), "10 mix bus sample rate out of range: 7999.0");
    EXPECT_EQ(failure([&] { make(192001); }), "10 mix bus sample rate out of range: 192001.0");
    EXPECT_EQ(failure([&] { make(std::nan("")); }), "10 mix bus sample rate out of range: nan");
    EXPECT_EQ(failure([&] { make(8000); }), "no error");
    EXPECT_EQ(failure([&] { make(192000); }), "no error");
}

TEST_F(MixBusConverter, EqualRatesAreCopiedOrDownmixed) {
    auto converter = make(48000);
    const auto convert = [&](const PcmBuffer& buffer) {
        return converter.convert(buffer, MediaTime::make(7, 48000), std::nullopt);
    };
    EXPECT_THAT(convert(monoBuffer(48000, std::vector{0.25F, -2.0F})).samples,
                ElementsAre(0.25F, -2.0F));
    EXPECT_THAT(convert(int16Buffer(48000, std::vector<std::int16_t>{16384, -32768, 1})).samples,
                ElementsAre(0.5F, -1.0F, 3.0517578e-05F));
    for (bool interleaved : {true, false})
        EXPECT_THAT(
            convert(floatBuffer(48000, {{1.0F, 0.5F}, {0.0F, -0.25F}}, interleaved)).samples,
            ElementsAre(0.5F, 0.125F));
    EXPECT_THAT(convert(monoBuffer(47999.2, std::vector{0.5F})).samples, ElementsAre(0.5F))
        << "a rate within 1 Hz counts as equal";
    EXPECT_EQ(convert(monoBuffer(48000, std::vector{0.5F})).presentationTime.value, 7);
}

TEST_F(MixBusConverter, ABufferWithoutFramesGivesNothing) {
    auto converter = make(48000);
    auto empty =
        *PcmBuffer::withCapacity(*AudioFormat::make(CommonFormat::pcmFloat32, 44100, 2, true), 10);
    EXPECT_THAT(converter.convert(empty, MediaTime::zero(), 44100).samples, SizeIs(0));
    EXPECT_EQ(logged("first"), 0);
}

TEST_F(MixBusConverter, TheFirstBufferIsDescribedOnce) {
    auto converter = make(48000);
    const auto stereo = floatBuffer(48000, {{0.0F}, {0.0F}}, true);
    converter.convert(stereo, MediaTime::zero(), 44100.0);
    converter.convert(stereo, MediaTime::zero(), 44100.0);
    EXPECT_EQ(logged("first AVAudioPCMBuffer src=sr=48000.0 ch=2 interleaved=true common=1; "
                     "semanticSRC=sr=44100.0 ch=2 interleaved=true common=1\n"),
              1);
    auto other = make(48000);
    other.convert(int16Buffer(16000, std::vector<std::int16_t>{1}), MediaTime::zero(), 16000.4);
    EXPECT_EQ(logged("first AVAudioPCMBuffer src=sr=16000.0 ch=1 interleaved=true common=3\n"), 1);
    EXPECT_EQ(streams.errorLines().size(), 2U);
}

TEST_F(MixBusConverter, FourChannelsAtTheMixRateGoThroughThePlatformConverter) {
    auto converter = make(48000);
    std::vector<std::vector<float>> channels(4);
    const auto tone = makeTone(997.0 / 48000, 4800);
    for (std::size_t c = 0; c < 4; ++c)
        for (float sample : tone)
            channels[c].push_back(sample * (c == 3 ? 1.0F : 0.0F));
    auto samples =
        converter.convert(floatBuffer(48000, channels, true), MediaTime::zero(), std::nullopt)
            .samples;
    const auto tail = converter.finish().samples;
    samples.insert(samples.end(), tail.begin(), tail.end());
    ASSERT_THAT(samples, SizeIs(4800));
    for (std::size_t i = 0; i < samples.size(); ++i)
        ASSERT_FLOAT_EQ(samples[i], tone[i] / 4) << "the channels are averaged";
}

TEST_F(MixBusConverter, WithoutAPlatformConverterTheBufferIsAnErrorAndTheStreamGoesOn) {
    NoConverterFactory none;
    PCMToMixBusConverter converter(48000, none, log);
    EXPECT_EQ(failure([&] {
                  converter.convert(monoBuffer(44100, std::vector(441, 0.5F)), MediaTime::zero(),
                                    std::nullopt);
              }),
              "10 No AVAudioConverter");
    EXPECT_THAT(
        converter
            .convert(monoBuffer(48000, std::vector(480, 0.5F)), MediaTime::zero(), std::nullopt)
            .samples,
        SizeIs(480));
}

TEST_F(MixBusConverter, ADeadPlatformConverterHolds16kHzThreeTimes) {
    DeadConverterFactory dead;
    PCMToMixBusConverter converter(48000, dead, log);
    for (int i = 0; i < 2; ++i)
        EXPECT_THAT(converter
                        .convert(monoBuffer(16000, std::vector{0.25F, -0.5F}), MediaTime::zero(),
                                 std::nullopt)
                        .samples,
                    ElementsAre(0.25F, 0.25F, 0.25F, -0.5F, -0.5F, -0.5F));
    EXPECT_EQ(logged("SRC fallback ZOH 16k→48k frames=2"), 1);
    EXPECT_THAT(converter
                    .convert(int16Buffer(16000, std::vector<std::int16_t>{16384}),
                             MediaTime::zero(), std::nullopt)
                    .samples,
                ElementsAre(0.5F, 0.5F, 0.5F));
}

TEST_F(MixBusConverter, ADeadPlatformConverterIsReplacedByLinearInterpolation) {
    DeadConverterFactory dead;
    PCMToMixBusConverter converter(48000, dead, log);
    const auto samples =
        converter
            .convert(monoBuffer(24000, std::vector{0.0F, 1.0F}), MediaTime::zero(), std::nullopt)
            .samples;
    EXPECT_THAT(samples, ElementsAre(0.0F, 0.5F, 1.0F, 1.0F));
    EXPECT_EQ(logged("SRC fallback linear 24000→48000 frames=2"), 1);
    EXPECT_THAT(
        converter
            .convert(floatBuffer(24000, {{1.0F}, {1.0F}}, true), MediaTime::zero(), std::nullopt)
            .samples,
        SizeIs(0))
        << "only for mono sources";
}

TEST_F(MixBusConverter, SamplesDoNotDependOnTheCutOfTheInput) {
    for (double rate : {44100.0, 16000.0, 96000.0}) {
        const auto tone = makeTone(997.0 / rate, static_cast<std::size_t>(rate));
        auto whole = make(48000);
        const auto expected = convertCut(whole, rate, tone, {tone.size()});
        EXPECT_NEAR(static_cast<double>(expected.size()), 48000, 1) << rate;
        for (const std::vector<std::size_t>& sizes : std::vector<std::vector<std::size_t>>{
                 {1}, {64}, {480}, {1024}, {4096}, {1, 777, 13, 2048, 5}}) {
            auto converter = make(48000);
            ASSERT_EQ(convertCut(converter, rate, tone, sizes), expected)
                << rate << " first size " << sizes[0];
        }
    }
}

TEST_F(MixBusConverter, AConvertedToneIsPure) {
    for (double rate : {44100.0, 16000.0}) {
        for (double frequency : {997.0, 6000.0, 10000.0, 20000.0}) {
            if (frequency > rate * 0.47) continue;
            auto converter = make(48000);
            const auto tone = makeTone(frequency / rate, static_cast<std::size_t>(rate) * 2);
            const auto output = convertCut(converter, rate, tone, {1024});
            const auto middle = std::span(output).subspan(24000, 48000);
            EXPECT_LT(test::fitTone(middle, frequency / 48000).thdPlusNoiseDb(), -130)
                << rate << " " << frequency;
        }
    }
}

TEST_F(MixBusConverter, AWanderingRateHintLeavesNoBreak) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> wander(-0.4, 0.4);
    auto converter = make(48000);
    const auto tone = makeTone(997.0 / 48001, 48000 * 4);
    // The first second has no hint, as the rate has not been measured yet.
    const auto output = convertCut(converter, 48000, tone, {1024}, [&](std::size_t at) {
        return at < 48000 ? std::nullopt : std::optional(48001 + wander(random));
    });
    EXPECT_NEAR(static_cast<double>(output.size()), 192000.0 - 3, 2);
    const auto steady = std::span(output).subspan(100, output.size() - 200);
    EXPECT_LT(test::worstToneBreakDb(steady, 997.0 / 48000), kNoBreakDb);
}

TEST_F(MixBusConverter, AStreamThatHasNeededTheRateConverterStaysWithIt) {
    auto converter = make(48000);
    const auto tone = makeTone(997.0 / 48000, 48000 * 3);
    const auto output = convertCut(converter, 48000, tone, {480}, [](std::size_t at) {
        return (at / 9600) % 2 == 1 ? std::optional(48002.0) : std::nullopt;
    });
    const auto steady = std::span(output).subspan(100, output.size() - 200);
    EXPECT_LT(test::worstToneBreakDb(steady, 997.0 / 48000), kNoBreakDb);
}

TEST_F(MixBusConverter, TheTimeOfConvertedSamplesIsThatOfTheirInput) {
    // A step at 0.5 s of stream time must come out at 0.5 s, whatever the filter holds back.
    for (double rate : {8000.0, 16000.0, 44100.0, 96000.0}) {
        auto converter = make(48000);
        std::vector<float> step(static_cast<std::size_t>(rate), 0.0F);
        std::fill(step.begin() + static_cast<std::ptrdiff_t>(rate / 2), step.end(), 0.5F);
        const double start = 100.0;
        std::optional<double> stepTime;
        for (std::size_t at = 0; at < step.size() && !stepTime; at += 160) {
            const std::size_t count = std::min<std::size_t>(160, step.size() - at);
            const auto chunk = converter.convert(
                monoBuffer(rate, std::span(step).subspan(at, count)),
                MediaTime::fromSeconds(start + static_cast<double>(at) / rate, 48000),
                std::nullopt);
            for (std::size_t i = 0; i < chunk.samples.size() && !stepTime; ++i)
                if (chunk.samples[i] > 0.25F)
                    stepTime = chunk.presentationTime.seconds() + static_cast<double>(i) / 48000;
        }
        ASSERT_TRUE(stepTime) << rate;
        EXPECT_NEAR(*stepTime - start, 0.5, 1.0 / rate) << rate;
    }
}

TEST_F(MixBusConverter, ARouteChangeForgetsTheOldDevice) {
    auto converter = make(48000);
    converter.convert(monoBuffer(44100, std::vector(4410, 1.0F)), MediaTime::zero(), std::nullopt);
    converter.resetConversionStateForRouteChange();
    auto fresh = make(48000);
    const auto tone = makeTone(440.0 / 16000, 16000);
    EXPECT_EQ(convertCut(converter, 16000, tone, {512}), convertCut(fresh, 16000, tone, {512}));
}

TEST_F(MixBusConverter, ANewFormatWithoutARouteChangeLosesNoSamples) {
    auto converter = make(48000);
    std::size_t total = 0;
    total +=
        converter
            .convert(monoBuffer(44100, std::vector(44100, 0.5F)), MediaTime::zero(), std::nullopt)
            .samples.size();
    total +=
        converter
            .convert(floatBuffer(16000, {std::vector(16000, 0.5F), std::vector(16000, 0.5F)}, true),
                     MediaTime::zero(), std::nullopt)
            .samples.size();
    total += converter.finish().samples.size();
    EXPECT_NEAR(static_cast<double>(total), 96000, 2);
}

TEST_F(MixBusConverter, DualTrackMicrophoneIsCopiedOrResampledLinearly) {
    auto converter = make(48000);
    EXPECT_THAT(converter.convertMicBufferForDualTrack(monoBuffer(48000, std::vector{0.5F, 1.0F})),
                ElementsAre(0.5F, 1.0F));
    for (int i = 0; i < 2; ++i)
        EXPECT_THAT(
            converter.convertMicBufferForDualTrack(monoBuffer(44100, std::vector(441, 0.5F))),
            SizeIs(480));
    EXPECT_EQ(logged("dual-track mic linear 44100.0→48000.0 frames=441"), 1);
}

TEST_F(MixBusConverter, DualTrackSystemTakesTheAggregateRateWhenItDiffers) {
    auto converter = make(48000);
    const auto buffer = floatBuffer(48000, {std::vector(441, 0.5F), std::vector(441, 0.5F)}, true);
    EXPECT_THAT(converter.convertSystemBufferForDualTrack(buffer, std::nullopt), SizeIs(441));
    EXPECT_THAT(converter.convertSystemBufferForDualTrack(buffer, 48000.4), SizeIs(441));
    EXPECT_THAT(converter.convertSystemBufferForDualTrack(buffer, 44100.0), SizeIs(480));
    EXPECT_EQ(logged("dual-track system linear content 44100.0→48000.0 tapNom=48000.0 "
                     "aggregateHint=44100 frames=441"),
              1);
    EXPECT_EQ(failure([&] {
                  converter.convertSystemBufferForDualTrack(
                      floatBuffer(48000, {{0.0F}, {0.0F}, {0.0F}}, true), std::nullopt);
              }),
              "10 Unsupported channel layout for fast path");
}

TEST_F(MixBusConverter, LinearResamplingCarriesItsPhaseUnlessReset) {
    auto converter = make(48000);
    const std::vector<float> ramp = {0, 1, 2, 3};
    EXPECT_EQ(converter.pushLinearResample(ramp, 48000.4, false), ramp);
    const auto first = converter.pushLinearResample(ramp, 32000, false);
    const auto second = converter.pushLinearResample(ramp, 32000.4, false);
    EXPECT_EQ(first.size() + second.size(), 12U);
    EXPECT_THAT(converter.pushLinearResample(ramp, 32000, true), SizeIs(6));
}

TEST(StreamingLinearResampler, TwoChunksGiveTheSameSamplesAsOneExceptAcrossTheBorder) {
    std::vector<float> ramp(480);
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<float>(i);
    StreamingLinearResampler whole(48000, 44100);
    const auto expected = whole.push(ramp);
    ASSERT_THAT(expected, SizeIs(441));

    StreamingLinearResampler cut(48000, 44100);
    auto joined = cut.push(std::span(ramp).first(240));
    const auto second = cut.push(std::span(ramp).last(240));
    joined.insert(joined.end(), second.begin(), second.end());
    ASSERT_THAT(joined, SizeIs(441));
    int held = 0;
    for (std::size_t i = 0; i < joined.size(); ++i) {
        const double position = static_cast<double>(i) * 48000 / 44100;
        if (position > 239 && position < 240) {
            EXPECT_FLOAT_EQ(joined[i], 239.0F) << "the last sample of the first chunk is held";
            ++held;
        } else {
            EXPECT_EQ(joined[i], expected[i]) << i;
        }
    }
    EXPECT_EQ(held, 1);
}

TEST(StreamingLinearResampler, NothingInNothingOut) {
    StreamingLinearResampler resampler(48000, 44100);
    EXPECT_THAT(resampler.push({}), SizeIs(0));
    StreamingLinearResampler broken(0, 44100);
    EXPECT_THAT(broken.push(std::vector{1.0F}), SizeIs(0));
}

}  // namespace
}  // namespace tapwell
