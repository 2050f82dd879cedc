#include "Platform/RecorderError.h"
#include "Platform/Simulated/SimulatedPrivateFile.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Support/Pcm16Wav.h"
#include "Support/TemporaryDirectory.h"
#include "Tapwell/Outputs/MonoPcm16WavFileWriter.h"
#include "Tapwell/Outputs/MonoPcm16WavReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

namespace tapwell {
namespace {

using test::Pcm16Wav;
using testing::ElementsAre;
using testing::HasSubstr;

struct WavWriter : testing::Test {
    test::TemporaryDirectory folder;
    SimulatedPrivateFileFactory files;
    SimulatedStandardStreams streams;
    std::string path = folder.file("track.wav");
    std::vector<std::int64_t> counts;
    MonoPcm16WavFileWriter writer{files, path, 48000,
                                  [this](std::int64_t bytes) { counts.push_back(bytes); },
                                  Log(streams, "mic-debug")};

    Pcm16Wav file() const { return Pcm16Wav::read(path); }
    static int codeOf(const std::function<void()>& action) {
        try {
            action();
        } catch (const RecorderError& error) {
            return error.code();
        }
        return 0;
    }
};

TEST_F(WavWriter, TheHeaderTellsTheSizesBeforeAndAfter) {
    writer.start();
    EXPECT_EQ(file().riffSize(), 36U);
    EXPECT_EQ(file().dataSize(), 0U);
    writer.appendMonoFloatSync(std::vector<float>(480, 0.25F));
    writer.finalizeSync();
    EXPECT_EQ(file().dataSize(), 960U);
    EXPECT_EQ(file().riffSize(), 996U);
    EXPECT_EQ(file().sampleRate(), 48000U);
    EXPECT_EQ(file().bytes.size(), 1004U);
    EXPECT_THAT(counts, ElementsAre(960));
}

TEST_F(WavWriter, TheFileIsTrueAfterEveryWriteAsAKillWouldLeaveIt) {
    writer.start();
    for (int i = 1; i <= 20; ++i) {
        writer.appendMonoFloatSync(std::vector<float>(100, 0.5F));
        EXPECT_EQ(file().dataSize(), 200U * static_cast<unsigned>(i));
        EXPECT_EQ(file().bytes.size(), 44U + file().dataSize());
    }
}

TEST_F(WavWriter, LimitsSamplesAndWritesSilence) {
    writer.start();
    writer.appendMonoFloatSync(std::vector{1.5F, -2.0F, 0.99999F});
    writer.appendSilenceSync(3);
    writer.appendSilenceSync(0);
    writer.appendSilenceSync(-5);
    EXPECT_EQ(writer.writtenPCMFrameCount(), 6);
    writer.finalizeSync();
    EXPECT_THAT(file().samples(), ElementsAre(32767, -32767, 32766, 0, 0, 0));
    EXPECT_THAT(counts, ElementsAre(6, 6));
}

TEST_F(WavWriter, LongSilenceIsWhole) {
    writer.start();
    writer.appendSilenceSync(100001);
    writer.appendMonoFloatSync(std::vector{1.0F});
    writer.finalizeSync();
    EXPECT_EQ(file().frameCount(), 100002U);
    EXPECT_EQ(file().sample(100001), 32767);
}

TEST_F(WavWriter, FinalizingWhatWasNotStartedDoesNothing) {
    writer.finalizeSync();
    EXPECT_THAT(folder.names(), ElementsAre());
    writer.start();
    writer.finalizeSync();
    writer.finalizeSync();
    EXPECT_EQ(file().bytes.size(), 44U);
}

TEST_F(WavWriter, AppendingToWhatIsNotOpenDoesNothing) {
    writer.appendMonoFloatSync(std::vector{1.0F});
    writer.appendSilenceSync(5);
    EXPECT_EQ(writer.writtenPCMFrameCount(), 0);
    EXPECT_THAT(folder.names(), ElementsAre());
}

TEST_F(WavWriter, CanBeStartedAgainAndBeginsAFreshFile) {
    writer.start();
    writer.appendMonoFloatSync(std::vector(10, 1.0F));
    writer.start();  // no second file while this one is open
    EXPECT_EQ(writer.writtenPCMFrameCount(), 10);
    writer.finalizeSync();
    writer.start();
    EXPECT_EQ(writer.writtenPCMFrameCount(), 0);
    writer.appendMonoFloatSync(std::vector{0.5F});
    writer.finalizeSync();
    EXPECT_THAT(file().samples(), ElementsAre(16383));
}

TEST_F(WavWriter, AFileThatCannotBeOpenedIsNamed) {
    files.refused = {"track"};
    try {
        writer.start();
        FAIL() << "no error";
    } catch (const RecorderError& error) {
        EXPECT_EQ(error.code(), 80);
        EXPECT_EQ(error.description(), "WAV open failed: " + path);
    }
    EXPECT_EQ(streams.countErrorLines("cannot create " + path), 1);
    files.refused.clear();
    writer.start();
}

TEST_F(WavWriter, TheFirstWriteErrorStaysAndWhatWasWrittenIsKept) {
    files.bytesLeft = 44 + 200;
    writer.start();
    writer.appendMonoFloatSync(std::vector(100, 1.0F));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(codeOf([this] { writer.appendMonoFloatSync(std::vector{1.0F}); }), 28);
        files.bytesLeft = 1000;  // room again, but the hole cannot be mended
    }
    EXPECT_EQ(codeOf([this] { writer.appendSilenceSync(1); }), 28);
    writer.finalizeSync();
    EXPECT_EQ(file().dataSize(), 200U);
    EXPECT_EQ(file().frameCount(), 100U);
    writer.start();
    writer.appendMonoFloatSync(std::vector{1.0F});
    EXPECT_EQ(writer.writtenPCMFrameCount(), 1);
}

TEST_F(WavWriter, ASampleThatIsNoNumberEndsTheProcess) {
    writer.start();
    EXPECT_DEATH(writer.appendMonoFloatSync(std::vector{std::nanf("")}), "not a number");
}

struct WavReader : testing::Test {
    test::TemporaryDirectory folder;
    std::string path = folder.file("in.wav");

    MonoPcm16WavReader open(const Pcm16Wav& wav) const {
        wav.write(path);
        return MonoPcm16WavReader(path);
    }
    int codeOf(const std::string& bytes) const {
        try {
            open({bytes});
        } catch (const RecorderError& error) {
            return error.code();
        }
        return 0;
    }
    static std::vector<std::int16_t> ramp(int count) {
        std::vector<std::int16_t> samples(static_cast<std::size_t>(count));
        std::iota(samples.begin(), samples.end(), std::int16_t{-50});
        return samples;
    }
};

TEST_F(WavReader, ReadsFramesFromAnywhere) {
    auto reader = open(Pcm16Wav::make(44100, ramp(100)));
    EXPECT_EQ(reader.sampleRate(), 44100);
    EXPECT_EQ(reader.frameCount(), 100);
    EXPECT_THAT(reader.readFrames(98, 2), ElementsAre(48, 49));
    EXPECT_THAT(reader.readFrames(0, 3), ElementsAre(-50, -49, -48));
}

TEST_F(WavReader, AFileThatEndsTooSoonIsAnErrorThatNamesTheFrame) {
    auto wav = Pcm16Wav::make(48000, ramp(100));
    wav.bytes.resize(44 + 2 * 60);
    auto reader = open(wav);
    EXPECT_THAT(reader.readFrames(50, 10), testing::SizeIs(10));
    EXPECT_THAT([&] { reader.readFrames(55, 10); },
                testing::ThrowsMessage<RecorderError>(HasSubstr("WAV read short at frame 55")));
    EXPECT_THAT([&] { reader.firstNonSilentFrameIndex(); },
                testing::ThrowsMessage<RecorderError>("WAV read short at frame 0"));
    // Such an error does not stick.
    EXPECT_THAT(reader.readFrames(0, 1), ElementsAre(-50));
}

TEST_F(WavReader, WhatIsNoWavFileIsRefusedForWhatItIs) {
    const std::string good = Pcm16Wav::make(48000, ramp(4)).bytes;
    const auto with = [&good](std::size_t at, const std::string& text) {
        return good.substr(0, at) + text + good.substr(at + text.size());
    };
    EXPECT_EQ(codeOf(""), 91);
    EXPECT_EQ(codeOf(good.substr(0, 43)), 91);
    EXPECT_EQ(codeOf(with(0, "RIFX")), 92);
    EXPECT_EQ(codeOf(with(8, "AVI ")), 92);
    EXPECT_EQ(codeOf(with(12, "fact")), 93);
    EXPECT_EQ(codeOf(with(36, "tada")), 93);
    EXPECT_EQ(codeOf(with(20, Pcm16Wav::le(3, 2))), 93) << "floating point";
    EXPECT_EQ(codeOf(with(34, Pcm16Wav::le(24, 2))), 93) << "24 bits";
    EXPECT_EQ(codeOf(with(22, Pcm16Wav::le(0, 2))), 93) << "no channels";
    EXPECT_EQ(codeOf(with(24, Pcm16Wav::le(0, 4))), 93) << "no rate";
    EXPECT_EQ(codeOf(with(16, Pcm16Wav::le(0xFFFFFFFF, 4))), 93) << "an endless first chunk";
    EXPECT_EQ(codeOf(good), 0);
}

TEST_F(WavReader, AFileThatIsNotThereIsNamed) {
    EXPECT_THAT([&] { MonoPcm16WavReader reader(path); },
                testing::ThrowsMessage<RecorderError>(HasSubstr(path)));
}

TEST_F(WavReader, PassesOverChunksThatItDoesNotKnow) {
    std::string bytes = Pcm16Wav::make(48000, ramp(4)).bytes;
    bytes.insert(36, "LIST" + Pcm16Wav::le(3, 4) + "abc" + std::string(1, '\0'));
    auto reader = open({bytes});
    EXPECT_THAT(reader.readFrames(0, 4), ElementsAre(-50, -49, -48, -47));
}

TEST_F(WavReader, ReadsAnExtensibleHeader) {
    const std::string format = Pcm16Wav::le(0xFFFE, 2) + Pcm16Wav::le(1, 2) +
                               Pcm16Wav::le(48000, 4) + Pcm16Wav::le(96000, 4) +
                               Pcm16Wav::le(2, 2) + Pcm16Wav::le(16, 2) + Pcm16Wav::le(22, 2) +
                               Pcm16Wav::le(16, 2) + Pcm16Wav::le(4, 4) + Pcm16Wav::le(1, 2) +
                               std::string("\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 14);
    const std::string good = "RIFF" + Pcm16Wav::le(64, 4) + "WAVEfmt " + Pcm16Wav::le(40, 4) +
                             format + "data" + Pcm16Wav::le(4, 4) + "\x01\x02\x03\x04";
    auto reader = open({good});
    EXPECT_THAT(reader.readFrames(0, 2), ElementsAre(0x0201, 0x0403));
    std::string floats = good;
    floats[20 + 24] = 3;
    EXPECT_EQ(codeOf(floats), 93);
    std::string cut = good;
    cut.replace(16, 4, Pcm16Wav::le(16, 4));
    EXPECT_EQ(codeOf(cut), 93) << "extensible, but without the extension";
}

TEST_F(WavReader, OfSeveralChannelsTheFirstIsTaken) {
    auto reader = open(Pcm16Wav::make(48000, std::vector<std::int16_t>{1, -1, 2, -2, 3, -3}, 2));
    EXPECT_EQ(reader.frameCount(), 3);
    EXPECT_THAT(reader.readFrames(1, 2), ElementsAre(2, 3));
}

TEST_F(WavReader, CountsFramesAtAnotherRate) {
    const auto reader = open(Pcm16Wav::make(44100, ramp(100)));
    EXPECT_EQ(reader.frameCountAtOutputRate(44100.4), 100);
    EXPECT_EQ(reader.frameCountAtOutputRate(48000), 108);
    EXPECT_EQ(open(Pcm16Wav::make(44100, {})).frameCountAtOutputRate(48000), 1);
}

TEST_F(WavReader, SilenceEndsWithTheFirstSampleBeyondTheThreshold) {
    std::vector<std::int16_t> samples(20000, 500);
    EXPECT_EQ(open(Pcm16Wav::make(48000, samples)).firstNonSilentFrameIndex(), 20000);
    samples[9000] = -501;
    EXPECT_EQ(open(Pcm16Wav::make(48000, samples)).firstNonSilentFrameIndex(), 9000);
    samples[8191] = 501;
    EXPECT_EQ(open(Pcm16Wav::make(48000, samples)).firstNonSilentFrameIndex(), 8191);
    samples[0] = -32768;
    EXPECT_EQ(open(Pcm16Wav::make(48000, samples)).firstNonSilentFrameIndex(), 0);
}

}  // namespace
}  // namespace tapwell
