#include "TestRecording.h"

#include "Platform/AudioFormat.h"
#include "Platform/Linux/FfmpegAssetWriterFactory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <future>
#include <numbers>
#include <optional>

namespace tapwell::test {

AudioOutputSettings aacSettings(double sampleRate, std::int64_t channels, std::int64_t bitRate) {
    return {kAudioFormatMPEG4AAC, sampleRate, channels, bitRate};
}

std::shared_ptr<const AudioFormatDescription> floatFormat(double sampleRate,
                                                          std::uint32_t channels) {
    const auto format = AudioFormat::make(CommonFormat::pcmFloat32, sampleRate, channels, true);
    std::shared_ptr<const AudioFormatDescription> description;
    EXPECT_EQ(AudioFormatDescription::create(format->streamDescription(), description), noErr);
    return description;
}

std::vector<float> sine(double frequencyHz, double sampleRate, double amplitude,
                        std::size_t frameCount) {
    std::vector<float> samples(frameCount);
    for (std::size_t i = 0; i < frameCount; ++i)
        samples[i] = static_cast<float>(amplitude * std::sin(2 * std::numbers::pi * frequencyHz *
                                                             static_cast<double>(i) / sampleRate));
    return samples;
}

std::vector<float> noise(double amplitude, std::size_t sampleCount) {
    std::vector<float> samples(sampleCount);
    std::uint32_t state = 1;
    for (float& sample : samples) {
        state = state * 1664525U + 1013904223U;
        sample = static_cast<float>(amplitude * (state / 2147483648.0 - 1.0));
    }
    return samples;
}

TestRecording::TestRecording(const std::string& path, const AudioOutputSettings& settings)
    : TestRecording(path, settings, Producer{}) {}

TestRecording::TestRecording(const std::string& path, const AudioOutputSettings& settings,
                             const Producer& producer)
    : settings_(settings),
      producer_(producer),
      format_(
          floatFormat(settings.sampleRate, static_cast<std::uint32_t>(settings.numberOfChannels))),
      writer_(FfmpegAssetWriterFactory(clock_, producer.encoderCount).makeWriter(path)),
      input_(writer_->makeInput(settings, format_)) {
    input_->setExpectsMediaDataInRealTime(producer.expectsRealTime);
    EXPECT_TRUE(writer_->canAdd(*input_));
    writer_->add(input_);
    EXPECT_TRUE(writer_->startWriting());
    writer_->startSession(MediaTime::make(987654, 48000));
}

bool TestRecording::appendBuffer(std::span<const float> samples) {
    const std::int64_t frames =
        static_cast<std::int64_t>(samples.size()) / settings_.numberOfChannels;
    const auto rate = static_cast<std::int32_t>(settings_.sampleRate);
    std::shared_ptr<BlockBuffer> block;
    EXPECT_EQ(BlockBuffer::create(samples.size_bytes(), block), noErr);
    EXPECT_EQ(block->replaceDataBytes(std::as_bytes(samples), 0), noErr);
    std::optional<SampleBuffer> buffer;
    const SampleBuffer::Timing timing{
        MediaTime::make(1, rate),
        MediaTime::make(987654, 48000) + MediaTime::make(frameCount_, rate)};
    EXPECT_EQ(SampleBuffer::create(block, format_, frames, timing, buffer), noErr);
    frameCount_ += frames;
    clock_.advance(static_cast<double>(frames) / settings_.sampleRate / producer_.timesRealTime);
    return input_->append(*buffer);
}

bool TestRecording::append(std::span<const float> samples, std::size_t framesPerBuffer) {
    const std::size_t samplesPerBuffer =
        framesPerBuffer * static_cast<std::size_t>(settings_.numberOfChannels);
    while (!samples.empty()) {
        const std::size_t count = std::min(samplesPerBuffer, samples.size());
        if (!appendBuffer(samples.first(count))) return false;
        samples = samples.subspan(count);
    }
    return true;
}

void TestRecording::finish() {
    input_->markAsFinished();
    std::promise<void> finished;
    writer_->finishWriting([&] { finished.set_value(); });
    finished.get_future().wait();
}

void TestRecording::record(const std::string& path, const AudioOutputSettings& settings,
                           std::span<const float> samples) {
    record(path, settings, samples, Producer{});
}

void TestRecording::record(const std::string& path, const AudioOutputSettings& settings,
                           std::span<const float> samples, const Producer& producer) {
    TestRecording recording(path, settings, producer);
    EXPECT_TRUE(recording.append(samples));
    recording.finish();
    EXPECT_EQ(recording.writer().status(), AssetWriter::Status::completed);
    EXPECT_FALSE(recording.writer().error());
}

}  // namespace tapwell::test
