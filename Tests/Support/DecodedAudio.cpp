#include "Support/DecodedAudio.h"

#include "Support/ChildProcess.h"

#include <nlohmann/json.hpp>

#include <cstring>

namespace tapwell::test {
namespace {

std::optional<double> seconds(const nlohmann::json& properties) {
    const std::string text = properties.value("duration", "");
    if (text.empty() || text == "N/A") return std::nullopt;
    return std::stod(text);
}

void readProperties(DecodedAudio& audio, const std::string& description) {
    const nlohmann::json json = nlohmann::json::parse(description, nullptr, false);
    if (json.is_discarded() || !json.contains("streams") || json["streams"].empty()) return;
    const nlohmann::json& stream = json["streams"][0];
    audio.codec = stream.value("codec_name", "");
    audio.sampleRate = std::stoi(stream.value("sample_rate", "0"));
    audio.channelCount = stream.value("channels", 0);
    audio.trackSeconds = seconds(stream);
    if (json.contains("format")) audio.containerSeconds = seconds(json["format"]);
}

}  // namespace

DecodedAudio DecodedAudio::ofFile(const std::filesystem::path& path) {
    DecodedAudio audio;
    const auto probe = ChildProcess::run(
        {"ffprobe", "-v", "error", "-show_format", "-show_streams", "-of", "json", path.string()});
    readProperties(audio, probe.standardOutput);

    const auto decoding = ChildProcess::run(
        {"ffmpeg", "-nostdin", "-v", "error", "-i", path.string(), "-f", "f32le", "-"});
    audio.samples.resize(decoding.standardOutput.size() / sizeof(float));
    std::memcpy(audio.samples.data(), decoding.standardOutput.data(),
                audio.samples.size() * sizeof(float));
    audio.complaints = probe.standardError + decoding.standardError;
    audio.plays =
        probe.ending.exitStatus == 0 && decoding.ending.exitStatus == 0 && audio.complaints.empty();
    return audio;
}

}  // namespace tapwell::test
