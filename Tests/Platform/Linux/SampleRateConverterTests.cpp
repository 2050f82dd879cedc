#include "Platform/Linux/SoxrSampleRateConverterFactory.h"
#include "Support/ToneAnalysis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <numbers>
#include <optional>
#include <random>
#include <span>
#include <utility>

namespace tapwell {
namespace {

using test::fitTone;
using test::makeTone;
using test::ToneFit;
using test::worstToneBreakDb;
using Samples = std::vector<float>;

AudioFormat monoFloat(double sampleRate) {
    return *AudioFormat::make(CommonFormat::pcmFloat32, sampleRate, 1, false);
}

/// Frames of a format, filled sample by sample; 16-bit samples are rounded.
PcmBuffer makeBuffer(const AudioFormat& format, std::size_t frames,
                     const std::function<float(std::size_t frame, std::uint32_t channel)>& sample) {
    PcmBuffer buffer = *PcmBuffer::withCapacity(format, static_cast<std::uint32_t>(frames));
    buffer.setFrameLength(static_cast<std::uint32_t>(frames));
    std::uint32_t stride = 0;
    for (std::uint32_t channel = 0; channel < format.channelCount(); ++channel) {
        for (std::size_t frame = 0; frame < frames; ++frame) {
            const float value = sample(frame, channel);
            if (format.commonFormat() == CommonFormat::pcmInt16)
                buffer.channel<std::int16_t>(channel, stride)[frame * stride] =
                    static_cast<std::int16_t>(std::lround(value * 32767));
            else
                buffer.channel<float>(channel, stride)[frame * stride] = value;
        }
    }
    return buffer;
}

/// Feeds a converter and collects what it gives. `outputCapacity` chooses the frames of each
/// output buffer.
class Stream {
public:
    explicit Stream(const AudioFormat& source, double targetRate = 48000)
        : source_(source),
          target_(monoFloat(targetRate)),
          converter_(SoxrSampleRateConverterFactory().makeConverter(source, target_)) {}

    std::function<std::uint32_t()> outputCapacity = [] { return 4096u; };
    Samples output;

    SampleRateConverter& converter() { return *converter_; }

    void push(const PcmBuffer& buffer) {
        bool wasGiven = false;
        pull([&](std::uint32_t, SampleRateConverter::InputStatus& status) -> const PcmBuffer* {
            status = wasGiven ? SampleRateConverter::InputStatus::endOfStream
                              : SampleRateConverter::InputStatus::haveData;
            return std::exchange(wasGiven, true) ? nullptr : &buffer;
        });
    }
    void push(std::span<const float> mono) {
        push(makeBuffer(source_, mono.size(),
                        [mono](std::size_t frame, std::uint32_t) { return mono[frame]; }));
    }
    /// Converts until the block has been drained.
    void pull(const SampleRateConverter::InputBlock& block) {
        SampleRateConverter::OutputStatus status{};
        do {
            PcmBuffer buffer = *PcmBuffer::withCapacity(target_, outputCapacity());
            status = converter_->convert(buffer, block, error_);
            ASSERT_NE(status, SampleRateConverter::OutputStatus::error) << error_;
            take(buffer);
        } while (status == SampleRateConverter::OutputStatus::haveData);
    }
    void finish() {
        std::size_t before = 0;
        do {
            before = output.size();
            PcmBuffer buffer = *PcmBuffer::withCapacity(target_, outputCapacity());
            ASSERT_NE(converter_->finish(buffer, error_), SampleRateConverter::OutputStatus::error);
            take(buffer);
        } while (output.size() > before);
    }

private:
    void take(const PcmBuffer& buffer) {
        std::uint32_t stride = 0;
        const float* const samples = buffer.channel<float>(0, stride);
        output.insert(output.end(), samples, samples + buffer.frameLength());
    }

    AudioFormat source_;
    AudioFormat target_;
    std::unique_ptr<SampleRateConverter> converter_;
    std::string error_;
};

/// Pushes `input` in pieces whose sizes `pieceSize` chooses, and finishes the stream.
void pushInPieces(Stream& stream, std::span<const float> input,
                  const std::function<std::size_t()>& pieceSize) {
    while (!input.empty()) {
        const std::size_t count = std::min(pieceSize(), input.size());
        stream.push(input.first(count));
        input = input.subspan(count);
    }
    stream.finish();
}

Samples convertWhole(const AudioFormat& source, double targetRate, std::span<const float> input) {
    Stream stream(source, targetRate);
    pushInPieces(stream, input, [&input] { return input.size(); });
    return stream.output;
}

/// The part of a converted tone that neither end of the stream touches.
std::span<const float> steadyPart(const Samples& samples, double rate) {
    const auto margin = static_cast<std::size_t>(rate / 4);
    return std::span(samples).subspan(margin, samples.size() - 2 * margin);
}

struct RatePair {
    double source;
    double target;
    std::vector<double> tones;  ///< Hz
};

class RatePairTest : public testing::TestWithParam<RatePair> {};

TEST_P(RatePairTest, KeepsATonePureInLevelAndInTime) {
    const auto& [source, target, tones] = GetParam();
    for (const double tone : tones) {
        SCOPED_TRACE(tone);
        const Samples input = makeTone(tone / source, static_cast<std::size_t>(source * 2));
        const Samples output = convertWhole(monoFloat(source), target, input);
        EXPECT_NEAR(static_cast<double>(output.size()),
                    static_cast<double>(input.size()) * target / source, 1.0);
        const auto steady = steadyPart(output, target);
        const ToneFit fit = fitTone(steady, tone / target);
        EXPECT_LT(fit.thdPlusNoiseDb(), -140);
        EXPECT_NEAR(20 * std::log10(fit.amplitude / 0.5), 0, 0.01);
        const double cyclesBefore =
            tone / target * static_cast<double>(steady.data() - output.data());
        const double lateCycles = fit.phaseRadians / (2 * std::numbers::pi) - cyclesBefore;
        const double lateSamples = (lateCycles - std::round(lateCycles)) / (tone / target);
        EXPECT_NEAR(lateSamples, 0, 1e-6);
    }
}

TEST_P(RatePairTest, GivesTheSameSamplesHoweverTheStreamIsCut) {
    const auto& [source, target, tones] = GetParam();
    std::mt19937 random(7);
    Samples input(static_cast<std::size_t>(source / 2));
    std::uniform_real_distribution<float> noise(-1, 1);
    for (float& sample : input)
        sample = noise(random);
    const Samples whole = convertWhole(monoFloat(source), target, input);
    for (const std::size_t size : {1u, 64u, 480u, 1024u, 4096u}) {
        Stream stream(monoFloat(source), target);
        pushInPieces(stream, input, [size] { return size; });
        EXPECT_EQ(stream.output, whole) << size;
    }
    Stream stream(monoFloat(source), target);
    stream.outputCapacity = [&random] { return 1 + static_cast<std::uint32_t>(random() % 700); };
    pushInPieces(stream, input, [&random] { return 1 + random() % 3000; });
    EXPECT_EQ(stream.output, whole);
}

INSTANTIATE_TEST_SUITE_P(SampleRateConverter, RatePairTest,
                         testing::Values(RatePair{44100, 48000, {997, 10000, 20000}},
                                         RatePair{16000, 48000, {997, 6000}},
                                         RatePair{8000, 48000, {997, 3000}},
                                         RatePair{96000, 48000, {997, 10000, 20000}},
                                         RatePair{48000, 16000, {997, 6000}},
                                         RatePair{48000, 44100, {997, 10000}},
                                         RatePair{47999.6, 48000, {997, 10000, 20000}},
                                         RatePair{44098.7, 48000, {997, 10000, 20000}},
                                         RatePair{48000, 48000, {997, 20000}}),
                         [](const auto& tested) {
                             return std::to_string(static_cast<int>(tested.param.source)) + "To" +
                                    std::to_string(static_cast<int>(tested.param.target));
                         });

TEST(SampleRateConverter, CountsOutputExactlyOverMinutes) {
    for (const double source : {44100.0, 47999.6}) {
        Stream stream(monoFloat(source));
        const Samples second(48000, 0.25f);
        std::size_t count = 0;
        for (int i = 0; i < 600; ++i) {
            stream.push(second);
            count += std::exchange(stream.output, {}).size();
        }
        stream.finish();
        count += stream.output.size();
        EXPECT_NEAR(static_cast<double>(count), 600 * 48000.0 * 48000 / source, 1.0);
    }
}

TEST(SampleRateConverter, EqualRatesPassThroughBitByBit) {
    const Samples input = makeTone(0.01234, 30000, 1.0);
    EXPECT_EQ(convertWhole(monoFloat(48000), 48000, input), input);
    Stream stream(monoFloat(48000));
    stream.push(std::span(input).first(1000));
    EXPECT_EQ(stream.output.size(), 1000u) << "nothing is held back";
}

TEST(SampleRateConverter, AnImpulseStaysWhereItWas) {
    Samples input(16000, 0.0f);
    input[5000] = 1.0f;
    const Samples output = convertWhole(monoFloat(16000), 48000, input);
    const auto peak = std::max_element(output.begin(), output.end()) - output.begin();
    EXPECT_EQ(peak, 15000);
    EXPECT_NEAR(output[14990], output[15010], 1e-6);
}

TEST(SampleRateConverter, AveragesChannelsOfEveryLayout) {
    for (const CommonFormat common : {CommonFormat::pcmFloat32, CommonFormat::pcmInt16}) {
        for (std::uint32_t channels = 1; channels <= 8; ++channels) {
            for (const bool interleaved : {true, false}) {
                const auto format = AudioFormat::make(common, 48000, channels, interleaved);
                const PcmBuffer buffer =
                    makeBuffer(*format, 500, [](std::size_t frame, std::uint32_t channel) {
                        return 0.1f * static_cast<float>(channel + 1) -
                               0.001f * static_cast<float>(frame);
                    });
                Stream stream(*format);
                stream.push(buffer);
                stream.finish();
                ASSERT_EQ(stream.output.size(), 500u);
                for (std::size_t frame = 0; frame < 500; ++frame)
                    ASSERT_NEAR(stream.output[frame],
                                0.05 * (channels + 1) - 0.001 * static_cast<double>(frame), 5e-5)
                        << channels << " channels, interleaved " << interleaved;
            }
        }
    }
}

TEST(SampleRateConverter, StereoIsHalfTheSumAndSixteenBitsAreThirtyTwoThousandths) {
    const auto stereo = AudioFormat::make(CommonFormat::pcmFloat32, 48000, 2, true);
    Stream floats(*stereo);
    floats.push(makeBuffer(*stereo, 1, [](std::size_t, std::uint32_t channel) {
        return channel == 0 ? 0.7f : -0.1f;
    }));
    EXPECT_EQ(floats.output, Samples{(0.7f + -0.1f) * 0.5f});

    const auto integers = AudioFormat::make(CommonFormat::pcmInt16, 48000, 1, true);
    PcmBuffer buffer = *PcmBuffer::withCapacity(*integers, 3);
    buffer.setFrameLength(3);
    std::uint32_t stride = 0;
    const std::array<std::int16_t, 3> values = {-32768, 1, 32767};
    std::memcpy(buffer.channel<std::int16_t>(0, stride), values.data(), sizeof values);
    Stream shorts(*integers);
    shorts.push(buffer);
    EXPECT_EQ(shorts.output, (Samples{-1.0f, 1.0f / 32768, 32767.0f / 32768}));
}

TEST(SampleRateConverter, ConvertsSixteenBitStereoToItsOwnPrecision) {
    const auto format = AudioFormat::make(CommonFormat::pcmInt16, 44100, 2, true);
    const Samples tone = makeTone(997.0 / 44100, 88200);
    Stream stream(*format);
    stream.push(tone);
    stream.finish();
    const ToneFit fit = fitTone(steadyPart(stream.output, 48000), 997.0 / 48000);
    EXPECT_LT(fit.thdPlusNoiseDb(), -92);  // 16 bits at half scale
    EXPECT_NEAR(fit.amplitude, 0.5 * 32767 / 32768, 1e-5);
}

TEST(SampleRateConverter, ANumberThatIsNoneSilencesOnlyItself) {
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        Samples input = makeTone(997.0 / 44100, 44100);
        Samples silenced = input;
        input[20000] = bad;
        silenced[20000] = 0.0f;
        EXPECT_EQ(convertWhole(monoFloat(44100), 48000, input),
                  convertWhole(monoFloat(44100), 48000, silenced));
    }
}

TEST(SampleRateConverter, PullsInSlicesOfAtMostWhatIsMissing) {
    const AudioFormat source = monoFloat(44100);
    const Samples input = makeTone(997.0 / 44100, 44100);
    const Samples whole = convertWhole(source, 48000, input);
    Stream stream(source);
    stream.outputCapacity = [] { return 480u; };
    std::size_t offset = 0;
    std::optional<PcmBuffer> slice;
    stream.pull([&](std::uint32_t requested,
                    SampleRateConverter::InputStatus& status) -> const PcmBuffer* {
        EXPECT_GE(requested, 1u);
        EXPECT_LE(requested, 441u);
        const std::size_t count = std::min<std::size_t>(requested, input.size() - offset);
        status = count == 0 ? SampleRateConverter::InputStatus::noDataNow
                            : SampleRateConverter::InputStatus::haveData;
        if (count == 0) return nullptr;
        slice = makeBuffer(source, count,
                           [&](std::size_t frame, std::uint32_t) { return input[offset + frame]; });
        offset += count;
        return &*slice;
    });
    stream.finish();
    EXPECT_EQ(stream.output, whole);
}

TEST(SampleRateConverter, OutputThatDidNotFitComesWithoutNewInput) {
    Stream stream(monoFloat(48000));
    PcmBuffer small = *PcmBuffer::withCapacity(monoFloat(48000), 100);
    const PcmBuffer input = makeBuffer(monoFloat(48000), 250, [](std::size_t frame, std::uint32_t) {
        return static_cast<float>(frame);
    });
    std::string error;
    const auto give = [&](std::uint32_t, SampleRateConverter::InputStatus& status) {
        status = SampleRateConverter::InputStatus::haveData;
        return &input;
    };
    const auto nothing = [](std::uint32_t, SampleRateConverter::InputStatus& status) {
        status = SampleRateConverter::InputStatus::noDataNow;
        return static_cast<const PcmBuffer*>(nullptr);
    };
    using Output = SampleRateConverter::OutputStatus;
    EXPECT_EQ(stream.converter().convert(small, give, error), Output::haveData);
    EXPECT_EQ(small.frameLength(), 100u);
    EXPECT_EQ(stream.converter().convert(small, nothing, error), Output::haveData);
    EXPECT_EQ(stream.converter().convert(small, nothing, error), Output::inputRanDry);
    EXPECT_EQ(small.frameLength(), 50u);
    std::uint32_t stride = 0;
    EXPECT_EQ(small.channel<float>(0, stride)[49], 249.0f);
    EXPECT_EQ(stream.converter().convert(small, nothing, error), Output::inputRanDry);
    EXPECT_EQ(small.frameLength(), 0u);
}

TEST(SampleRateConverter, RefusesAnotherLayoutThanTheSource) {
    Stream stream(monoFloat(48000));
    const auto stereo = AudioFormat::make(CommonFormat::pcmFloat32, 48000, 2, true);
    const PcmBuffer wrong = makeBuffer(*stereo, 10, [](std::size_t, std::uint32_t) { return 0; });
    PcmBuffer output = *PcmBuffer::withCapacity(monoFloat(48000), 10);
    std::string error;
    const auto give = [&](std::uint32_t, SampleRateConverter::InputStatus& status) {
        status = SampleRateConverter::InputStatus::haveData;
        return &wrong;
    };
    EXPECT_EQ(stream.converter().convert(output, give, error),
              SampleRateConverter::OutputStatus::error);
    EXPECT_NE(error, "");
}

TEST(SampleRateConverter, MakesOnlyWhatItCanConvert) {
    SoxrSampleRateConverterFactory factory;
    const auto source = [](CommonFormat common, std::uint32_t channels) {
        return *AudioFormat::make(common, 44100, channels, true);
    };
    EXPECT_NE(factory.makeConverter(source(CommonFormat::pcmInt16, 32), monoFloat(48000)), nullptr);
    EXPECT_EQ(factory.makeConverter(source(CommonFormat::pcmInt32, 2), monoFloat(48000)), nullptr);
    EXPECT_EQ(factory.makeConverter(source(CommonFormat::pcmFloat64, 2), monoFloat(48000)),
              nullptr);
    EXPECT_EQ(factory.makeConverter(monoFloat(48000), source(CommonFormat::pcmFloat32, 2)),
              nullptr);
    EXPECT_EQ(factory.makeConverter(monoFloat(48000), source(CommonFormat::pcmInt16, 1)), nullptr);
}

TEST(SampleRateConverter, RefusesRatesFarFromItsOwn) {
    Stream stream(monoFloat(48000));
    SampleRateConverter& converter = stream.converter();
    EXPECT_TRUE(converter.adjustSourceSampleRate(48240));
    EXPECT_FALSE(converter.adjustSourceSampleRate(48241));
    EXPECT_TRUE(converter.adjustSourceSampleRate(47760));
    EXPECT_FALSE(converter.adjustSourceSampleRate(47759));
    EXPECT_FALSE(converter.adjustSourceSampleRate(0));
    EXPECT_FALSE(converter.adjustSourceSampleRate(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_FALSE(converter.adjustSourceSampleRate(std::numeric_limits<double>::infinity()));
}

/// A change of rate that is known to the stream from input frame `atFrame` on.
struct RateChange {
    std::size_t atFrame;
    double sampleRate;
};

/// The tone as an ideal converter would give it: every output sample taken from the continuous
/// tone at the source position that the rates lead to.
Samples idealOutput(double nominalRate, double targetRate, double tone, std::size_t inputFrames,
                    const std::vector<RateChange>& changes) {
    Samples ideal;
    long double position = 0;  // in source frames
    std::size_t next = 0;
    long double rate = nominalRate;
    while (position < static_cast<long double>(inputFrames)) {
        const long double cycles = position * tone / static_cast<long double>(nominalRate);
        ideal.push_back(static_cast<float>(
            0.5L * std::sin(2 * std::numbers::pi_v<long double> * (cycles - std::floor(cycles)))));
        long double remaining = 1;
        for (; next < changes.size(); ++next) {
            const long double ahead = static_cast<long double>(changes[next].atFrame) - position;
            if (ahead >= remaining * rate / targetRate) break;
            position += ahead;
            remaining -= ahead * targetRate / rate;
            rate = changes[next].sampleRate;
        }
        position += remaining * rate / targetRate;
    }
    return ideal;
}

/// Error of a stream with changing rates against the ideal, in dB of the tone, ends left out. One
/// constant gain, the filter's at this tone, is no error.
double errorDb(const Samples& output, const Samples& ideal, double rate) {
    const auto actual = steadyPart(output, rate), wanted = steadyPart(ideal, rate);
    const std::size_t count = std::min(actual.size(), wanted.size());
    double product = 0, wantedEnergy = 0, errorEnergy = 0;
    for (std::size_t i = 0; i < count; ++i) {
        product += static_cast<double>(actual[i]) * wanted[i];
        wantedEnergy += static_cast<double>(wanted[i]) * wanted[i];
    }
    for (std::size_t i = 0; i < count; ++i)
        errorEnergy += std::pow(actual[i] - product / wantedEnergy * wanted[i], 2);
    return 10 * std::log10(errorEnergy / wantedEnergy);
}

/// What a step of the rate by `stepHz` does to a tone within a window of the break detector: the
/// two frequencies lead half a window away from their mean.
double frequencyStepDb(double tone, double nominalRate, double stepHz) {
    return 20 * std::log10(std::numbers::pi * tone * stepHz / nominalRate * 128 / 48000);
}

/// Pushes `input` in pieces whose sizes `pieceSize` chooses, each rate change at its frame, and
/// finishes the stream.
Samples convertWithChanges(
    Stream& stream, std::span<const float> input, const std::vector<RateChange>& changes,
    const std::function<std::size_t()>& pieceSize = [] { return 480; }) {
    std::size_t begin = 0;
    auto next = changes.begin();
    while (begin < input.size()) {
        if (next != changes.end() && next->atFrame == begin) {
            EXPECT_TRUE(stream.converter().adjustSourceSampleRate(next->sampleRate));
            ++next;
        }
        std::size_t end = std::min(begin + pieceSize(), input.size());
        if (next != changes.end()) end = std::min(end, next->atFrame);
        stream.push(input.subspan(begin, end - begin));
        begin = end;
    }
    stream.finish();
    return stream.output;
}

TEST(SampleRateConverter, AHintAfterSecondsOfPassThroughLeavesNoSeam) {
    for (const double tone : {997.0, 10000.0, 20000.0}) {
        for (const double nominal : {48000.0, 44100.0}) {
            SCOPED_TRACE(testing::Message() << tone << " Hz at " << nominal);
            const Samples input = makeTone(tone / nominal, static_cast<std::size_t>(nominal) * 5);
            const std::vector<RateChange> changes = {{132301, nominal + 1.7}};
            Stream stream(monoFloat(nominal));
            const Samples output = convertWithChanges(stream, input, changes);
            const Samples ideal = idealOutput(nominal, 48000, tone, input.size(), changes);
            EXPECT_NEAR(static_cast<double>(output.size()), static_cast<double>(ideal.size()), 1.0);
            EXPECT_LT(errorDb(output, ideal, 48000), -135);
            EXPECT_LT(worstToneBreakDb(steadyPart(output, 48000), tone / 48000, 256),
                      frequencyStepDb(tone, nominal, 1.7));
            if (nominal == 48000) {
                EXPECT_TRUE(std::equal(input.begin(), input.begin() + 132301, output.begin()));
            }
        }
    }
}

TEST(SampleRateConverter, AHintThatWandersWithinItsNoiseIsTakenUpOnce) {
    const auto stereo = AudioFormat::make(CommonFormat::pcmFloat32, 48000, 2, true);
    for (const AudioFormat& format : {monoFloat(48000), *stereo}) {
        std::mt19937 random(3);
        std::uniform_real_distribution<double> noise(-0.25, 0.25);
        const Samples input = makeTone(997.0 / 48000, 480000);
        Stream stream(format), steady(format);
        ASSERT_TRUE(stream.converter().adjustSourceSampleRate(48001.0));
        ASSERT_TRUE(steady.converter().adjustSourceSampleRate(48001.0));
        for (std::size_t begin = 0; begin < input.size(); begin += 480) {
            ASSERT_TRUE(stream.converter().adjustSourceSampleRate(
                48001.0 + std::clamp(noise(random) * 2, -0.4, 0.4)));
            stream.push(std::span(input).subspan(begin, 480));
            steady.push(std::span(input).subspan(begin, 480));
        }
        stream.finish();
        steady.finish();
        EXPECT_EQ(stream.output, steady.output);
        EXPECT_NEAR(static_cast<double>(stream.output.size()), 480000 * 48000.0 / 48001.0, 1.0);
        const ToneFit fit =
            fitTone(steadyPart(stream.output, 48000), 997.0 / 48000 * 48001 / 48000);
        EXPECT_LT(fit.thdPlusNoiseDb(), -140);
    }
}

TEST(SampleRateConverter, AHintThatJumpsKeepsThePhaseAndTheCount) {
    const std::vector<RateChange> changes = {
        {96000, 48003}, {192000, 47998}, {192001, 48100}, {250000, 47761}, {300007, 48000}};
    for (const double tone : {997.0, 10000.0, 20000.0}) {
        SCOPED_TRACE(tone);
        const Samples input = makeTone(tone / 48000, 480000);
        Stream stream(monoFloat(48000));
        const Samples output = convertWithChanges(stream, input, changes);
        const Samples ideal = idealOutput(48000, 48000, tone, input.size(), changes);
        EXPECT_NEAR(static_cast<double>(output.size()), static_cast<double>(ideal.size()), 1.0);
        EXPECT_LT(errorDb(output, ideal, 48000), -135);
    }
}

TEST(SampleRateConverter, AHintThatMovesAllTheTimeKeepsThePhaseAndTheCount) {
    std::mt19937 random(11);
    std::uniform_real_distribution<double> wander(-20, 20);
    for (const double nominal : {48000.0, 44100.0, 16000.0}) {
        SCOPED_TRACE(nominal);
        const Samples input = makeTone(997.0 / nominal, static_cast<std::size_t>(nominal) * 10);
        std::vector<RateChange> changes;
        double last = nominal;
        for (std::size_t frame = 480; frame < input.size(); frame += 480) {
            const double rate = nominal + wander(random);
            if (std::abs(rate - last) <= 0.5) continue;
            changes.push_back({frame, rate});
            last = rate;
        }
        Stream stream(monoFloat(nominal));
        const Samples output = convertWithChanges(stream, input, changes);
        const Samples ideal = idealOutput(nominal, 48000, 997, input.size(), changes);
        EXPECT_NEAR(static_cast<double>(output.size()), static_cast<double>(ideal.size()), 1.0);
        EXPECT_LT(errorDb(output, ideal, 48000), -135);
    }
}

TEST(SampleRateConverter, ChangingRatesGiveTheSameSamplesHoweverTheStreamIsCut) {
    std::mt19937 random(5);
    std::uniform_real_distribution<float> noise(-1, 1);
    std::uniform_real_distribution<double> deviation(0.995, 1.005);
    for (int round = 0; round < 20; ++round) {
        const double nominal = std::array{48000.0, 44100.0, 16000.0, 96000.0}[random() % 4];
        Samples input(20000 + random() % 30000);
        for (float& sample : input)
            sample = noise(random);
        std::vector<RateChange> changes;
        for (std::size_t frame = random() % 5000; frame < input.size();
             frame += 1 + random() % 5000)
            changes.push_back({frame, nominal * deviation(random)});
        std::optional<Samples> first;
        for (const std::size_t largestPiece : {50000u, 5000u, 300u}) {
            Stream stream(monoFloat(nominal));
            stream.outputCapacity = [&] { return 1 + static_cast<std::uint32_t>(random() % 5000); };
            const Samples output = convertWithChanges(stream, input, changes,
                                                      [&] { return 1 + random() % largestPiece; });
            if (!first) first = output;
            ASSERT_EQ(output, *first) << "round " << round;
        }
    }
}

TEST(SampleRateConverter, AShortOrEmptyStreamFinishes) {
    for (const double source : {48000.0, 44100.0, 16000.0}) {
        for (const std::size_t frames : {0u, 1u, 2u, 100u}) {
            const Samples output = convertWhole(monoFloat(source), 48000, Samples(frames, 0.5f));
            EXPECT_NEAR(static_cast<double>(output.size()),
                        static_cast<double>(frames) * 48000 / source, 1.0);
        }
    }
}

}  // namespace
}  // namespace tapwell
