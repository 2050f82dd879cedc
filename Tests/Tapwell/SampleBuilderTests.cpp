#include "Platform/RecorderError.h"
#include "Platform/Simulated/SimulatedClock.h"
#include "Tapwell/Outputs/MixedPCMSampleBuilder.h"
#include "Tapwell/Outputs/RecorderTime.h"
#include "Tapwell/Outputs/StereoPCMSampleBuilder.h"

#include <gtest/gtest.h>

#include <cstring>

namespace tapwell {
namespace {

template <typename Call>
std::string failure(Call call) {
    try {
        call();
    } catch (const RecorderError& error) {
        return error.domain() + " " + std::to_string(error.code()) + " " + error.description();
    }
    return "no error";
}

TEST(SampleBuilders, AMonoBufferIsStampedAndDescribed) {
    MixedPCMSampleBuilder builder(48000);
    std::vector<float> samples(1024);
    samples[3] = 0.75F;
    const SampleBuffer buffer = builder.makeSampleBuffer(samples, MediaTime::make(4096, 48000));
    EXPECT_EQ(buffer.sampleCount(), 1024);
    EXPECT_EQ(buffer.totalSampleSize(), 4096);
    EXPECT_EQ(buffer.timing().duration.value, 1);
    EXPECT_EQ(buffer.timing().duration.timescale, 48000);
    EXPECT_EQ(buffer.presentationTimeStamp().value, 4096);
    EXPECT_FALSE(buffer.timing().decodeTimeStamp.isValid());
    EXPECT_EQ(std::memcmp(buffer.bytes().data(), samples.data(), 4096), 0);
    const AudioStreamBasicDescription expected{48000, 0x6C70636D, 41, 4, 1, 4, 1, 32, 0};
    EXPECT_EQ(buffer.formatDescription()->streamDescription(), expected);
}

TEST(SampleBuilders, AStereoBufferCountsFrames) {
    StereoPCMSampleBuilder builder(16000);
    const SampleBuffer buffer =
        builder.makeSampleBuffer(std::vector<float>(2048), MediaTime::zero());
    EXPECT_EQ(buffer.sampleCount(), 1024);
    EXPECT_EQ(buffer.totalSampleSize(), 8192);
    const AudioStreamBasicDescription expected{16000, 0x6C70636D, 9, 8, 1, 8, 2, 32, 0};
    EXPECT_EQ(buffer.formatDescription()->streamDescription(), expected);
}

TEST(SampleBuilders, TheFormatDescriptionIsMadeOnce) {
    MixedPCMSampleBuilder builder(48000);
    const std::vector<float> samples(8);
    const auto first = builder.makeSampleBuffer(samples, MediaTime::zero());
    const auto second = builder.makeSampleBuffer(samples, MediaTime::zero());
    EXPECT_EQ(first.formatDescription(), second.formatDescription());
}

TEST(SampleBuilders, BadSamplesAreRefusedAndTheNextAreTaken) {
    MixedPCMSampleBuilder mono(48000);
    EXPECT_EQ(failure([&] { mono.makeSampleBuffer({}, MediaTime::zero()); }),
              "Tapwell 32 Empty mono buffer");
    StereoPCMSampleBuilder stereo(48000);
    for (std::size_t count : {0U, 2047U})
        EXPECT_EQ(
            failure([&] { stereo.makeSampleBuffer(std::vector<float>(count), MediaTime::zero()); }),
            "Tapwell 39 Invalid interleaved stereo buffer");
    EXPECT_EQ(stereo.makeSampleBuffer(std::vector<float>(2), MediaTime::zero()).sampleCount(), 1);
}

TEST(SampleBuilders, ARateOutOfRangeFailsEveryCall) {
    MixedPCMSampleBuilder low(7000);
    StereoPCMSampleBuilder high(192001);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(failure([&] { low.makeSampleBuffer(std::vector<float>(2), MediaTime::zero()); }),
                  "Tapwell 31 invalid mix bus rate");
        EXPECT_EQ(failure([&] { high.makeSampleBuffer(std::vector<float>(2), MediaTime::zero()); }),
                  "Tapwell 38 invalid mix bus rate");
    }
}

TEST(SampleBuilders, ABlockBufferRefusesBytesBeyondItsEnd) {
    std::shared_ptr<BlockBuffer> block;
    ASSERT_EQ(BlockBuffer::create(8, block), noErr);
    const std::vector<std::byte> bytes(9);
    EXPECT_EQ(block->replaceDataBytes(bytes, 0), kBlockBufferBadLengthParameterError);
    EXPECT_EQ(block->replaceDataBytes(std::span(bytes).first(4), 5),
              kBlockBufferBadLengthParameterError);
    EXPECT_EQ(block->replaceDataBytes(std::span(bytes).first(4), 4), noErr);
}

TEST(RecorderTime, HostTimeWinsThenSampleTimeThenNothing) {
    VirtualTime time;
    const SimulatedClock clock(time);
    AudioTime when;
    when.hostTime = 48'000'000;  // ticks of 125/3 ns: 2 s
    when.sampleTime = 96000;
    when.sampleRate = 48000;
    EXPECT_FALSE(RecorderTime::cm(when, 48000, clock).isValid());
    when.isSampleTimeValid = true;
    when.sampleTime = 144000;
    EXPECT_EQ(RecorderTime::cm(when, 48000, clock).value, 144000);
    when.sampleRate = 0.5;
    EXPECT_EQ(RecorderTime::cm(when, 1000, clock).seconds(), 144000.0) << "no rate below 1";
    when.isHostTimeValid = true;
    EXPECT_EQ(RecorderTime::cm(when, 48000, clock).value, 96000);
}

}  // namespace
}  // namespace tapwell
