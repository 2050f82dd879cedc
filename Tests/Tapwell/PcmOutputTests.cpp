#include "Platform/Posix/PosixPrivateFile.h"
#include "Platform/RecorderError.h"
#include "Platform/Simulated/SimulatedQueueFactory.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Support/TemporaryDirectory.h"
#include "Tapwell/Outputs/Pcm16.h"
#include "Tapwell/Outputs/RecorderDebugMixedWavSink.h"
#include "Tapwell/Outputs/RtmpsPcmStdoutSink.h"
#include "Tapwell/Outputs/WavHeader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace tapwell {
namespace {

using namespace std::chrono_literals;

std::string fileContent(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::uint32_t littleEndian(const std::string& bytes, std::size_t at, int count) {
    std::uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
    return value;
}

TEST(Pcm16, LimitsAndCutsOffTowardZero) {
    const std::pair<float, int> expectations[] = {
        {1.0F, 32767},     {-1.0F, -32767}, {1.5F, 32767},        {-2.0F, -32767},
        {0.99999F, 32766}, {0.0F, 0},       {0.5F / 32767.0F, 0}, {-0.9F / 32767.0F, 0},
        {INFINITY, 32767}, {0.5F, 16383},   {-0.5F, -16383},
    };
    for (const auto& [sample, expected] : expectations)
        EXPECT_EQ(Pcm16::fromFloat(sample), expected) << sample;
}

TEST(Pcm16DeathTest, WhatIsNoNumberEndsTheProcess) {
    EXPECT_DEATH(Pcm16::fromFloat(std::nanf("")), "not a number");
}

TEST(WavHeader, DescribesMono16BitPcm) {
    const auto bytes = monoPcm16WavHeader(48000, 960);
    const std::string header(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    EXPECT_EQ(header.substr(0, 4), "RIFF");
    EXPECT_EQ(littleEndian(header, 4, 4), 996U);
    EXPECT_EQ(header.substr(8, 8), "WAVEfmt ");
    EXPECT_EQ(littleEndian(header, 16, 4), 16U);
    EXPECT_EQ(littleEndian(header, 20, 2), 1U);
    EXPECT_EQ(littleEndian(header, 22, 2), 1U);
    EXPECT_EQ(littleEndian(header, 24, 4), 48000U);
    EXPECT_EQ(littleEndian(header, 28, 4), 96000U);
    EXPECT_EQ(littleEndian(header, 32, 2), 2U);
    EXPECT_EQ(littleEndian(header, 34, 2), 16U);
    EXPECT_EQ(header.substr(36, 4), "data");
    EXPECT_EQ(littleEndian(header, 40, 4), 960U);
}

TEST(WavHeader, AnEmptyFileHasARiffSizeOf36) {
    const auto bytes = monoPcm16WavHeader(16000, 0);
    const std::string header(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    EXPECT_EQ(littleEndian(header, 4, 4), 36U);
    EXPECT_EQ(littleEndian(header, 40, 4), 0U);
}

TEST(WavHeaderDeathTest, WhatDoesNotFitEndsTheProcess) {
    EXPECT_DEATH(monoPcm16WavHeader(0x80000000U, 0), "sample rate");
    EXPECT_DEATH(monoPcm16WavHeader(48000, 0xFFFFFFFFU - 35), "does not fit");
    monoPcm16WavHeader(48000, 0xFFFFFFFFU - 36);
}

struct DebugWav : testing::Test {
    test::TemporaryDirectory folder;
    SimulatedStandardStreams streams;
    PosixPrivateFileFactory files;
    std::string path = folder.file("upload_audio_debug.wav");
};

TEST_F(DebugWav, WritesEverythingAtTheEnd) {
    RecorderDebugMixedWavSink sink(files, path, 48000, Log(streams, "debug-wav"));
    sink.appendMonoFloatSamples(std::vector{1.0F, -1.0F});
    sink.appendMonoFloatSamples({});
    sink.appendMonoFloatSamples(std::vector{0.5F});
    EXPECT_FALSE(std::filesystem::exists(path));
    sink.finalizeSync();
    const std::string content = fileContent(path);
    ASSERT_EQ(content.size(), 44U + 6U);
    EXPECT_EQ(littleEndian(content, 40, 4), 6U);
    EXPECT_EQ(content.substr(44), std::string("\xFF\x7F\x01\x80\xFF\x3F", 6));
    EXPECT_EQ(streams.countErrorLines("[Tapwell][debug-wav] wrote mixed mono PCM16 sr=48000 path=" +
                                      path + " bytes=50"),
              1);
    EXPECT_EQ(std::filesystem::status(path).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(DebugWav, AFileThatCannotBeWrittenIsAnErrorThatNamesIt) {
    const std::string nowhere = folder.file("missing/debug.wav");
    RecorderDebugMixedWavSink sink(files, nowhere, 48000, Log(streams, "debug-wav"));
    try {
        sink.finalizeSync();
        FAIL() << "no error";
    } catch (const RecorderError& error) {
        EXPECT_EQ(error.description(),
                  "Cannot create file \"" + nowhere + "\": No such file or directory");
    }
}

TEST_F(DebugWav, OneThatIsFullEndsAndIsWhole) {
    RecorderDebugMixedWavSink sink(files, path, 48000, Log(streams, "debug-wav"), 10);
    for (int i = 0; i < 3; ++i)
        sink.appendMonoFloatSamples(std::vector{1.0F, -1.0F});
    EXPECT_EQ(streams.countErrorLines("debug WAV is full after 8 bytes of samples"), 1);
    sink.finalizeSync();
    EXPECT_EQ(littleEndian(fileContent(path), 40, 4), 8U);
    EXPECT_EQ(fileContent(path).size(), 52U);
}

struct RtmpsSink : testing::Test {
    VirtualTime time;
    SimulatedQueueFactory queues{time};
    SimulatedStandardStreams streams;
    std::shared_ptr<RtmpsPcmStdoutSink> sink = RtmpsPcmStdoutSink::create(queues, streams);

    void setReading(bool reading) {
        queues.find("Tapwell.RtmpsPcmStdoutSink.Write")->setStalled(!reading);
    }
};

TEST_F(RtmpsSink, WritesAHeaderAndThePayload) {
    sink->pushInterleavedFloatStereo(std::vector{1.0F, -1.0F});
    time.settle();
    EXPECT_EQ(streams.output(), std::string("TLPC\x04\0\0\0\xFF\x7F\x01\x80", 12));
    EXPECT_EQ(sink->bytesEmitted(), 4);
}

TEST_F(RtmpsSink, ChunksThatAreNoPairsAreIgnored) {
    sink->pushInterleavedFloatStereo({});
    sink->pushInterleavedFloatStereo(std::vector{1.0F});
    sink->pushInterleavedFloatStereo(std::vector{1.0F, 1.0F, 1.0F});
    time.settle();
    EXPECT_EQ(streams.output(), "");
    EXPECT_EQ(sink->bytesEmitted(), 0);
}

TEST_F(RtmpsSink, AReaderThatFallsBehindLosesWholeFramesCountedAndLoggedOnce) {
    const std::vector<float> frame(2048, 0.25F);  // 4096 bytes of payload
    setReading(false);
    for (int i = 0; i < 300; ++i)
        sink->pushInterleavedFloatStereo(frame);
    time.advance(10s);
    EXPECT_EQ(sink->framesDropped(), 300 - 960000 / 4096);
    EXPECT_EQ(
        streams.countErrorLines("RTMPS reader is too slow: dropping PCM frames on standard output"),
        1);
    setReading(true);
    time.settle();
    EXPECT_EQ(streams.output().size(), 234U * (8 + 4096));
    sink->pushInterleavedFloatStereo(frame);
    time.settle();
    EXPECT_EQ(streams.output().size(), 235U * (8 + 4096)) << "a reader that is back is served";
    EXPECT_EQ(sink->bytesEmitted(), 235 * 4096);
}

TEST_F(RtmpsSink, AFlushWaitsForTheReaderButNotForEver) {
    sink->pushInterleavedFloatStereo(std::vector{1.0F, -1.0F});
    sink->flush();
    EXPECT_EQ(sink->bytesEmitted(), 4);
    setReading(false);
    sink->pushInterleavedFloatStereo(std::vector{1.0F, -1.0F});
    const auto before = time.now();
    sink->flush();
    EXPECT_EQ(time.now() - before, 1s);
    setReading(true);
    time.settle();
    EXPECT_EQ(sink->bytesEmitted(), 4);
    EXPECT_EQ(sink->framesDropped(), 1);
}

}  // namespace
}  // namespace tapwell
