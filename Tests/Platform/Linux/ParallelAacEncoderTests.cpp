// What the encoder holds and when it goes parallel.
#include "ManualClock.h"
#include "Platform/Linux/AacSegmentWorkers.h"
#include "Platform/Linux/FfmpegAssetWriterFactory.h"
#include "Platform/Linux/ParallelAacEncoder.h"
#include "TestRecording.h"

#include <gtest/gtest.h>

namespace tapwell::test {
namespace {

using Producer = ParallelAacEncoder::Producer;
using Packets = std::vector<std::vector<std::byte>>;

constexpr std::size_t kSegment = ParallelAacEncoder::kFramesPerSegment;
constexpr std::size_t kPiece = 4096;
const AudioOutputSettings kMono = aacSettings(48000, 1, 96000);

class ParallelAacEncoderTest : public ::testing::Test {
protected:
    AacEncoder::PacketSink keep(Packets& packets) {
        return [&packets](std::span<const std::byte> packet) {
            packets.emplace_back(packet.begin(), packet.end());
        };
    }

    ManualClock clock_;
    const FfmpegAssetWriterFactory silencer_{clock_};  // of the messages of FFmpeg's libraries
    Packets packets_;
    const AacEncoder::PacketSink keep_ = keep(packets_);
};

TEST_F(ParallelAacEncoderTest, HoldsAFewSegmentsHoweverLongTheStream) {
    const std::vector<float> piece = noise(0.1, kPiece);
    for (const unsigned encoders : {2U, 4U}) {
        ParallelAacEncoder encoder(kMono, {clock_, encoders}, Producer::unknown);
        std::size_t most = 0;
        for (std::size_t frames = 0; frames < 30 * kSegment; frames += kPiece) {
            encoder.encode(piece, keep_);
            most = std::max(most, encoder.framesHeld());
        }
        const std::size_t threads = encoders - 1;
        EXPECT_LE(most, (2 * threads + 1) * (kSegment + AacEncoder::kLeadInFrames));
        EXPECT_GE(most, kSegment);
        encoder.finish(keep_);
    }
}

TEST_F(ParallelAacEncoderTest, HoldsNothingOfWhatComesInRealTime) {
    const std::vector<float> piece = noise(0.1, kPiece);
    ParallelAacEncoder encoder(kMono, {clock_, 4}, Producer::unknown);
    for (std::size_t frames = 0; frames < 4 * kSegment; frames += kPiece) {
        clock_.advance(kPiece / 48000.0);
        encoder.encode(piece, keep_);
        EXPECT_EQ(encoder.framesHeld(), 0U);
    }
}

TEST_F(ParallelAacEncoderTest, GoesOnWithOneEncoderWhenTheProducerIsKnownToBeInRealTime) {
    const std::vector<float> samples = noise(0.1, 3 * kSegment);
    ParallelAacEncoder encoder(kMono, {clock_, 4}, Producer::realTime);
    encoder.encode(samples, keep_);
    EXPECT_EQ(encoder.framesHeld(), 0U);
    encoder.finish(keep_);
    Packets whole;
    AacEncoder single(kMono);
    single.encode(samples, keep(whole));
    single.finish(keep(whole));
    EXPECT_EQ(packets_, whole);
}

TEST_F(ParallelAacEncoderTest, LetsGoOfItsSamplesWhenTheProducerMakesItWait) {
    const std::vector<float> piece = noise(0.1, kPiece);
    ParallelAacEncoder encoder(kMono, {clock_, 4}, Producer::unknown);
    encoder.encode(noise(0.1, 3 * kSegment + kSegment / 2), keep_);
    EXPECT_GE(encoder.framesHeld(), kSegment / 2 - 1024);
    clock_.advance(ParallelAacEncoder::kLongestWait / 2);
    encoder.encode(piece, keep_);
    EXPECT_GT(encoder.framesHeld(), 0U);
    clock_.advance(ParallelAacEncoder::kLongestWait);
    encoder.encode(piece, keep_);
    EXPECT_EQ(encoder.framesHeld(), 0U);

    // Back at speed it is parallel again, from the next segment but one: the pace of the one that
    // it waited in is no measure.
    encoder.encode(noise(0.1, kSegment), keep_);
    EXPECT_EQ(encoder.framesHeld(), 0U);
    encoder.encode(noise(0.1, kSegment), keep_);
    EXPECT_GT(encoder.framesHeld(), 0U);
    encoder.finish(keep_);
    EXPECT_EQ(packets_.size(), 1 + (5 * kSegment + kSegment / 2 + 2 * kPiece) / 1024);
}

TEST_F(ParallelAacEncoderTest, BecomesParallelWhenAnEarlyHiccupIsMadeUpFor) {
    ParallelAacEncoder encoder(kMono, {clock_, 2}, Producer::unknown);
    clock_.advance(2);
    encoder.encode(noise(0.1, kSegment + 5000), keep_);
    EXPECT_EQ(encoder.framesHeld(), 0U);
    encoder.encode(noise(0.1, kSegment), keep_);
    EXPECT_EQ(encoder.framesHeld(), 0U);
    encoder.encode(noise(0.1, kSegment), keep_);
    EXPECT_GT(encoder.framesHeld(), 0U);
}

TEST_F(ParallelAacEncoderTest, CanBeDestroyedAtAnyPoint) {
    const std::vector<float> samples = noise(0.1, kSegment / 2);
    for (int pieces = 0; pieces < 12; ++pieces) {
        ParallelAacEncoder encoder(kMono, {clock_, 3}, Producer::unknown);
        for (int i = 0; i < pieces; ++i)
            encoder.encode(samples, keep_);
    }
    EXPECT_FALSE(packets_.empty());
}

TEST_F(ParallelAacEncoderTest, PassesOnWhatItsSinkThrows) {
    ParallelAacEncoder encoder(kMono, {clock_, 3}, Producer::unknown);
    int left = 700;
    const auto refuse = [&left](std::span<const std::byte>) {
        if (--left < 0) throw RecorderError("POSIX", 28, "full");
    };
    EXPECT_THROW(encoder.encode(noise(0.1, 20 * kSegment), refuse), RecorderError);
}

using AacSegmentWorkersTest = ParallelAacEncoderTest;

TEST_F(AacSegmentWorkersTest, EncodesOnTheCallersThreadWhenItHasNoOther) {
    AacSegmentWorkers workers(kMono, 0);
    EXPECT_FALSE(workers.hasThreads());
    std::size_t packets = 0;
    workers.submit(noise(0.1, AacEncoder::kLeadInFrames + 10 * 1024), true,
                   [&](std::span<const std::byte>) { ++packets; });
    EXPECT_EQ(packets, 12U);
    EXPECT_EQ(workers.samplesHeld(), 0U);
}

TEST(ProducerPace, CountsTimeOutsideOfWorkAsWaiting) {
    ManualClock clock;
    ProducerPace pace(clock, 48000);
    clock.advance(0.5);
    pace.beginWork();
    clock.advance(7);
    pace.endWork();
    clock.advance(0.25);
    pace.beginWork();
    EXPECT_DOUBLE_EQ(pace.waitedSeconds(), 0.75);
    pace.resetWait();
    EXPECT_EQ(pace.waitedSeconds(), 0);
}

TEST(ProducerPace, IsFastWhenAllCameInLessThanAQuarterOfItsTime) {
    ManualClock clock;
    const ProducerPace pace(clock, 1000);
    EXPECT_FALSE(pace.isFasterThanRealTime(0));
    clock.advance(1);
    EXPECT_FALSE(pace.isFasterThanRealTime(4000));
    EXPECT_TRUE(pace.isFasterThanRealTime(4001));
}

}  // namespace
}  // namespace tapwell::test
