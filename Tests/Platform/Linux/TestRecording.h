#pragma once

#include "ManualClock.h"
#include "Platform/AssetWriter.h"
#include "Platform/AudioOutputSettings.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tapwell::test {

/// AAC at the given rate, channels and bit rate.
AudioOutputSettings aacSettings(double sampleRate, std::int64_t channels, std::int64_t bitRate);

/// A format description of interleaved 32-bit float samples.
std::shared_ptr<const AudioFormatDescription> floatFormat(double sampleRate,
                                                          std::uint32_t channels);

/// A sine of `frequencyHz`, from its zero at frame 0.
std::vector<float> sine(double frequencyHz, double sampleRate, double amplitude,
                        std::size_t frameCount);

/// Steady noise in [-amplitude, amplitude], the same every time.
std::vector<float> noise(double amplitude, std::size_t sampleCount);

/// Drives a writer the way a track does. The writer's clock passes with what is appended.
class TestRecording {
public:
    struct Producer {
        double timesRealTime = 1;  ///< of the clock; infinite: the clock stands still
        unsigned encoderCount = 2;
        bool expectsRealTime = false;
    };
    static constexpr double kAtOnce = std::numeric_limits<double>::infinity();

    /// Begins a recording; a step that fails fails the test.
    TestRecording(const std::string& path, const AudioOutputSettings& settings);
    TestRecording(const std::string& path, const AudioOutputSettings& settings,
                  const Producer& producer);

    ManualClock& clock() { return clock_; }
    void setTimesRealTime(double timesRealTime) { producer_.timesRealTime = timesRealTime; }
    AssetWriter& writer() { return *writer_; }
    AssetWriterInput& input() { return *input_; }

    /// Appends interleaved samples as one buffer.
    bool appendBuffer(std::span<const float> samples);
    /// Appends them in buffers of `framesPerBuffer`, the last one shorter. Stops at a failure.
    bool append(std::span<const float> samples, std::size_t framesPerBuffer = 1024);
    /// Finishes and waits for the completion.
    void finish();
    /// Lets go of the writer.
    void destroyWriter() { writer_.reset(); }

    /// Records `samples` to a finished file; anything but success fails the test.
    static void record(const std::string& path, const AudioOutputSettings& settings,
                       std::span<const float> samples);
    static void record(const std::string& path, const AudioOutputSettings& settings,
                       std::span<const float> samples, const Producer& producer);

private:
    AudioOutputSettings settings_;
    Producer producer_;
    ManualClock clock_;
    std::shared_ptr<const AudioFormatDescription> format_;
    std::unique_ptr<AssetWriter> writer_;
    std::shared_ptr<AssetWriterInput> input_;
    std::int64_t frameCount_ = 0;
};

}  // namespace tapwell::test
