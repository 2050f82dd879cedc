#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tapwell::test {

/// What stock tools make of a recording: its samples as ffmpeg decodes them and its properties as
/// ffprobe reports them. One channel.
struct DecodedAudio {
    bool plays = false;      ///< Decoded with no complaint.
    std::string complaints;  ///< What the tools wrote to standard error.
    std::vector<float> samples;

    std::string codec;
    int sampleRate = 0;
    int channelCount = 0;
    std::optional<double> containerSeconds;
    std::optional<double> trackSeconds;

    double decodedSeconds() const { return static_cast<double>(samples.size()) / sampleRate; }

    static DecodedAudio ofFile(const std::filesystem::path& path);
};

}  // namespace tapwell::test
