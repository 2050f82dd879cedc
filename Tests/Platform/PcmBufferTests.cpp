#include "Platform/PcmBuffer.h"

#include <gtest/gtest.h>

#include <cmath>

namespace tapwell {
namespace {

AudioFormat format(CommonFormat common, std::uint32_t channels, bool interleaved) {
    return *AudioFormat::make(common, 48000, channels, interleaved);
}

TEST(AudioFormat, RefusesWhatIsNoUsablePcm) {
    AudioStreamBasicDescription good =
        format(CommonFormat::pcmFloat32, 2, true).streamDescription();
    EXPECT_TRUE(AudioFormat::fromStreamDescription(good));
    for (const auto& spoil : std::vector<void (*)(AudioStreamBasicDescription&)>{
             [](auto& d) { d.formatID = kAudioFormatMPEG4AAC; },
             [](auto& d) { d.sampleRate = 0; },
             [](auto& d) { d.sampleRate = std::nan(""); },
             [](auto& d) { d.channelsPerFrame = 0; },
             [](auto& d) { d.bytesPerFrame = 7; },
             [](auto& d) { d.bytesPerPacket = 4; },
             [](auto& d) { d.bitsPerChannel = 64; },
         }) {
        AudioStreamBasicDescription spoiled = good;
        spoil(spoiled);
        EXPECT_FALSE(AudioFormat::fromStreamDescription(spoiled));
    }
}

TEST(AudioFormat, KnowsItsCommonFormatAndLayout) {
    const AudioFormat interleaved = format(CommonFormat::pcmInt16, 2, true);
    EXPECT_EQ(interleaved.commonFormat(), CommonFormat::pcmInt16);
    EXPECT_EQ(interleaved.bytesPerFrame(), 4U);
    EXPECT_EQ(interleaved.bufferCount(), 1U);
    const AudioFormat planar = format(CommonFormat::pcmFloat32, 6, false);
    EXPECT_EQ(planar.bytesPerFrame(), 4U);
    EXPECT_EQ(planar.bufferCount(), 6U);
    EXPECT_EQ(planar.bytesPerSample(), 4U);
}

TEST(PcmBuffer, WrapsDeviceMemoryWithoutCopying) {
    float samples[6] = {1, 2, 3, 4, 5, 6};
    const AudioBuffer block{2, sizeof samples, samples};
    auto buffer =
        PcmBuffer::wrappingNoCopy(format(CommonFormat::pcmFloat32, 2, true), std::span(&block, 1));
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->frameLength(), 3U);
    samples[5] = 9;
    std::uint32_t stride = 0;
    const float* right = std::as_const(*buffer).channel<float>(1, stride);
    EXPECT_EQ(stride, 2U);
    EXPECT_EQ(right[2 * stride], 9.0F);
}

TEST(PcmBuffer, RefusesMemoryThatDoesNotFitTheFormat) {
    float samples[6] = {};
    const AudioFormat stereo = format(CommonFormat::pcmFloat32, 2, true);
    const auto wrap = [&](const AudioFormat& fmt, std::vector<AudioBuffer> blocks) {
        return PcmBuffer::wrappingNoCopy(fmt, blocks).has_value();
    };
    EXPECT_TRUE(wrap(stereo, {{2, 24, samples}}));
    EXPECT_FALSE(wrap(stereo, {}));
    EXPECT_FALSE(wrap(stereo, {{2, 24, nullptr}}));
    EXPECT_FALSE(wrap(stereo, {{2, 0, samples}}));
    EXPECT_FALSE(wrap(stereo, {{2, 20, samples}}));
    EXPECT_FALSE(wrap(stereo, {{1, 24, samples}}));
    EXPECT_FALSE(wrap(stereo, {{2, 8, samples}, {2, 8, samples}}));
    const AudioFormat planar = format(CommonFormat::pcmFloat32, 2, false);
    EXPECT_TRUE(wrap(planar, {{1, 12, samples}, {1, 12, samples + 3}}));
    EXPECT_FALSE(wrap(planar, {{1, 12, samples}, {1, 8, samples + 3}}));
}

TEST(PcmBuffer, ADeepCopyKeepsTheFramesUnderANewLabel) {
    float samples[4] = {1, 2, 3, 4};
    const AudioBuffer block{1, sizeof samples, samples};
    const AudioFormat mono = format(CommonFormat::pcmFloat32, 1, false);
    const auto wrapped = PcmBuffer::wrappingNoCopy(mono, std::span(&block, 1));
    const auto copy = wrapped->deepCopy(*mono.withSampleRate(44100));
    ASSERT_TRUE(copy);
    samples[0] = 99;
    std::uint32_t stride = 0;
    EXPECT_EQ(copy->channel<float>(0, stride)[0], 1.0F);
    EXPECT_EQ(copy->frameLength(), 4U);
    EXPECT_EQ(copy->format().sampleRate(), 44100);
    EXPECT_FALSE(wrapped->deepCopy(format(CommonFormat::pcmFloat32, 2, true)));
}

TEST(PcmBuffer, TheFrameLengthStaysWithinTheCapacity) {
    auto buffer = PcmBuffer::withCapacity(format(CommonFormat::pcmInt16, 2, false), 10);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->frameLength(), 0U);
    buffer->setFrameLength(11);
    EXPECT_EQ(buffer->frameLength(), 10U);
}

}  // namespace
}  // namespace tapwell
