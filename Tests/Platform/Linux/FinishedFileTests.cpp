// What a finished recording is, as boxes and as sound.
#include "Platform/AudioStreamBasicDescription.h"
#include "Support/AacDecoding.h"
#include "Support/FileBytes.h"
#include "Support/Mp4Boxes.h"
#include "Support/TemporaryDirectory.h"
#include "TestRecording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <ostream>

namespace tapwell::test {
namespace {

constexpr std::uint32_t kPriming = 1024;

struct Shape {
    double sampleRate;
    std::int64_t channels;
    std::int64_t bitRate;
    std::size_t frames;
};

void PrintTo(const Shape& shape, std::ostream* out) {
    *out << shape.frames << " frames, " << shape.channels << " channels, " << shape.sampleRate
         << " Hz, " << shape.bitRate << " bit/s";
}

class FinishedFileTest : public ::testing::TestWithParam<Shape> {
protected:
    void SetUp() override {
        const Shape& shape = GetParam();
        path_ = scratch_.file("a.m4a");
        samples_ = noise(0.1, shape.frames * static_cast<std::size_t>(shape.channels));
        TestRecording::record(path_, aacSettings(shape.sampleRate, shape.channels, shape.bitRate),
                              samples_);
        file_ = readMp4File(path_);
    }

    const Mp4Box& media() const { return file_.at("moov/trak/mdia"); }
    const Mp4Box& table() const { return media().at("minf/stbl"); }

    TemporaryDirectory scratch_;
    std::string path_;
    std::vector<float> samples_;
    Mp4Box file_;
};

TEST_P(FinishedFileTest, HasItsIndexFirstAndNoFragments) {
    std::vector<std::string> types;
    for (const Mp4Box& box : file_.children)
        types.push_back(box.type);
    EXPECT_THAT(types, ::testing::ElementsAre("ftyp", "moov", "mdat"));
    EXPECT_EQ(file_.at("ftyp").text(0, 4), "M4A ");
    EXPECT_EQ(file_.find("moov/mvex"), nullptr);
    EXPECT_THAT(scratch_.names(), ::testing::ElementsAre("a.m4a"));
}

TEST_P(FinishedFileTest, DeclaresExactlyTheFramesAppended) {
    const Shape& shape = GetParam();
    const auto rate = static_cast<std::uint32_t>(shape.sampleRate);
    EXPECT_EQ(file_.at("moov/mvhd").u32(12), rate);
    EXPECT_EQ(file_.at("moov/mvhd").u32(16), shape.frames);
    EXPECT_EQ(file_.at("moov/trak/tkhd").u32(20), shape.frames);

    const Mp4Box& edits = file_.at("moov/trak/edts/elst");
    EXPECT_EQ(edits.u32(4), 1U);
    EXPECT_EQ(edits.u32(8), shape.frames);
    EXPECT_EQ(edits.u32(12), kPriming);

    EXPECT_EQ(media().at("mdhd").u32(12), rate);
    EXPECT_EQ(media().at("mdhd").u32(16), shape.frames + kPriming);
    const Mp4Box& times = table().at("stts");
    std::uint64_t packets = 0;
    std::uint64_t frames = 0;
    for (std::size_t i = 0; i < times.u32(4); ++i) {
        packets += times.u32(8 + 8 * i);
        frames += std::uint64_t{times.u32(8 + 8 * i)} * times.u32(12 + 8 * i);
    }
    EXPECT_EQ(frames, shape.frames + kPriming);
    EXPECT_EQ(packets, 1 + (shape.frames + 1023) / 1024);
    EXPECT_EQ(packets, table().at("stsz").u32(8));
}

TEST_P(FinishedFileTest, IndexesEveryByteOfItsPacketsOnce) {
    const Mp4Box& sizes = table().at("stsz");
    const Mp4Box& runs = table().at("stsc");
    const Mp4Box& chunks = table().at("stco");
    const Mp4Box& data = file_.at("mdat");
    std::uint64_t expectedOffset = data.offset + 8;
    std::uint32_t packet = 0;
    std::uint32_t run = 0;
    for (std::uint32_t chunk = 0; chunk < chunks.u32(4); ++chunk) {
        EXPECT_EQ(chunks.u32(8 + 4 * chunk), expectedOffset);
        if (run + 1 < runs.u32(4) && runs.u32(8 + 12 * (run + 1)) == chunk + 1) ++run;
        for (std::uint32_t i = 0; i < runs.u32(12 + 12 * run); ++i)
            expectedOffset += sizes.u32(12 + 4 * packet++);
    }
    EXPECT_EQ(packet, sizes.u32(8));
    EXPECT_EQ(expectedOffset, data.offset + data.size);
}

TEST_P(FinishedFileTest, DescribesTheStream) {
    const Shape& shape = GetParam();
    const Mp4Box& description = table().at("stsd");
    EXPECT_EQ(description.text(12, 4), "mp4a");
    EXPECT_EQ(description.u16(32), shape.channels);
    EXPECT_EQ(description.u16(40), static_cast<std::uint32_t>(shape.sampleRate));
    EXPECT_EQ(table().at("sgpd").text(4, 4), "roll");
    EXPECT_EQ(table().at("sbgp").u32(12), table().at("stsz").u32(8));
}

TEST_P(FinishedFileTest, DecodesToTheFramesAppended) {
    const Shape& shape = GetParam();
    const DecodedAudio decoded = decodeAudioFile(path_);
    EXPECT_EQ(decoded.sampleRate, static_cast<int>(shape.sampleRate));
    ASSERT_EQ(decoded.channelCount, static_cast<std::size_t>(shape.channels));
    EXPECT_EQ(decoded.declaredFrames, static_cast<std::int64_t>(shape.frames));
    // FFmpeg's reader knows of no padding at the end of a packet.
    EXPECT_EQ(decoded.frameCount(), (shape.frames + 1023) / 1024 * 1024);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, FinishedFileTest,
    ::testing::Values(Shape{48000, 1, 96000, 1}, Shape{48000, 1, 96000, 1023},
                      Shape{48000, 1, 96000, 1024}, Shape{48000, 1, 96000, 1025},
                      Shape{48000, 1, 96000, 48000 * 3 + 17}, Shape{48000, 2, 96000, 48000},
                      Shape{44100, 2, 96000, 44100 + 7}, Shape{16000, 1, 40000, 33333},
                      Shape{8000, 1, 28000, 20001}));

TEST(FinishedFile, HoldsNothingOfAnEmptyRecording) {
    const TemporaryDirectory scratch;
    TestRecording::record(scratch.file("a.m4a"), aacSettings(48000, 1, 96000), {});
    const Mp4Box file = readMp4File(scratch.file("a.m4a"));
    EXPECT_EQ(file.at("moov/trak/mdia/mdhd").u32(16), 0U);
    EXPECT_EQ(file.at("mdat").size, 8U);
}

TEST(FinishedFile, DoesNotDependOnHowTheSamplesWereCut) {
    const TemporaryDirectory scratch;
    const AudioOutputSettings settings = aacSettings(48000, 2, 96000);
    const std::vector<float> samples = noise(0.2, 2 * 30001);
    TestRecording::record(scratch.file("whole.m4a"), settings, samples);
    for (const std::size_t framesPerBuffer : {1UL, 441UL, 1025UL, 30001UL}) {
        const std::string path = scratch.file(std::to_string(framesPerBuffer));
        TestRecording recording(path, settings);
        EXPECT_TRUE(recording.append(samples, framesPerBuffer));
        recording.finish();
        EXPECT_EQ(readFileBytes(path), readFileBytes(scratch.file("whole.m4a")));
    }
}

/// Level of a frequency in dB, full scale amplitude 1 being 0, over whole seconds.
double levelDb(const std::vector<float>& samples, double frequencyHz, double sampleRate,
               std::size_t from, std::size_t count) {
    double real = 0;
    double imaginary = 0;
    for (std::size_t i = from; i < from + count; ++i) {
        const double phase = 2 * M_PI * frequencyHz * static_cast<double>(i) / sampleRate;
        real += samples[i] * std::cos(phase);
        imaginary += samples[i] * std::sin(phase);
    }
    return 20 * std::log10(2 * std::hypot(real, imaginary) / static_cast<double>(count));
}

TEST(FinishedFile, KeepsTheLevelOfATone) {
    const TemporaryDirectory scratch;
    for (const auto& [rate, bitRate] : {std::pair{48000.0, 96000}, std::pair{44100.0, 96000},
                                        std::pair{16000.0, 40000}, std::pair{8000.0, 28000}}) {
        const std::string path = scratch.file(std::to_string(rate));
        const auto frames = static_cast<std::size_t>(4 * rate);
        TestRecording::record(path, aacSettings(rate, 1, bitRate), sine(1000, rate, 0.25, frames));
        const DecodedAudio decoded = decodeAudioFile(path);
        ASSERT_GE(decoded.frameCount(), frames);
        const double expectedDb = 20 * std::log10(0.25);
        const auto second = static_cast<std::size_t>(rate);
        EXPECT_NEAR(levelDb(decoded.samples, 1000, rate, second, 2 * second), expectedDb, 0.1)
            << rate;
    }
}

TEST(FinishedFile, KeepsItsChannelsApart) {
    const TemporaryDirectory scratch;
    constexpr std::size_t kFrames = 48000 * 4;
    const std::vector<float> left = sine(1000, 48000, 0.25, kFrames);
    const std::vector<float> right = sine(3000, 48000, 0.125, kFrames);
    std::vector<float> samples;
    for (std::size_t i = 0; i < kFrames; ++i)
        samples.insert(samples.end(), {left[i], right[i]});
    TestRecording::record(scratch.file("a.m4a"), aacSettings(48000, 2, 96000), samples);

    const DecodedAudio decoded = decodeAudioFile(scratch.file("a.m4a"));
    ASSERT_EQ(decoded.channelCount, 2U);
    EXPECT_NEAR(levelDb(decoded.channel(0), 1000, 48000, 48000, 96000), 20 * std::log10(0.25), 0.1);
    EXPECT_NEAR(levelDb(decoded.channel(1), 3000, 48000, 48000, 96000), 20 * std::log10(0.125),
                0.1);
    EXPECT_LT(levelDb(decoded.channel(0), 3000, 48000, 48000, 96000), -60);
    EXPECT_LT(levelDb(decoded.channel(1), 1000, 48000, 48000, 96000), -60);
}

TEST(FinishedFile, BeginsWithTheFirstFrameAppended) {
    const TemporaryDirectory scratch;
    constexpr std::size_t kFrames = 48000;
    std::vector<float> samples = noise(0.3, kFrames);
    TestRecording::record(scratch.file("a.m4a"), aacSettings(48000, 1, 96000), samples);
    const DecodedAudio decoded = decodeAudioFile(scratch.file("a.m4a"));
    ASSERT_GE(decoded.frameCount(), kFrames);
    const auto correlation = [&](int shift) {
        double sum = 0;
        for (int i = 100; i < static_cast<int>(kFrames) - 100; ++i)
            sum += double{samples[static_cast<std::size_t>(i)]} *
                   decoded.samples[static_cast<std::size_t>(i + shift)];
        return sum;
    };
    for (int shift = 1; shift <= 64; ++shift) {
        EXPECT_LT(correlation(shift), 0.9 * correlation(0)) << shift;
        EXPECT_LT(correlation(-shift), 0.9 * correlation(0)) << -shift;
    }
}

TEST(FinishedFile, SurvivesSamplesThatAreNoNumbers) {
    const TemporaryDirectory scratch;
    std::vector<float> samples = sine(1000, 48000, 0.25, 48000);
    samples[5000] = std::nanf("");
    samples[6000] = INFINITY;
    samples[7000] = -INFINITY;
    samples[8000] = 3e38F;
    TestRecording::record(scratch.file("a.m4a"), aacSettings(48000, 1, 96000), samples);
    const DecodedAudio decoded = decodeAudioFile(scratch.file("a.m4a"));
    for (const float sample : decoded.samples)
        ASSERT_TRUE(std::isfinite(sample));
    EXPECT_NEAR(levelDb(decoded.samples, 1000, 48000, 24000, 20000), 20 * std::log10(0.25), 0.2);
}

}  // namespace
}  // namespace tapwell::test
