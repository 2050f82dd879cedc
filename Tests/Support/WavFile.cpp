#include "Support/WavFile.h"

#include <bit>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

namespace tapwell::test {
namespace {

static_assert(std::endian::native == std::endian::little, "the samples are written as they are");

constexpr std::uint16_t ieeeFloatFormat = 3;
constexpr std::size_t bytesPerSample = sizeof(float);

template <typename Integer>
void append(std::string& bytes, Integer value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

std::string header(int sampleRate, std::size_t channelCount, std::size_t frameCount) {
    const std::size_t bytesPerFrame = channelCount * bytesPerSample;
    const auto dataSize = static_cast<std::uint32_t>(frameCount * bytesPerFrame);
    std::string bytes = "RIFF";
    append(bytes, static_cast<std::uint32_t>(36 + dataSize));
    bytes += "WAVEfmt ";
    append(bytes, std::uint32_t{16});
    append(bytes, ieeeFloatFormat);
    append(bytes, static_cast<std::uint16_t>(channelCount));
    append(bytes, static_cast<std::uint32_t>(sampleRate));
    append(bytes, static_cast<std::uint32_t>(static_cast<std::size_t>(sampleRate) * bytesPerFrame));
    append(bytes, static_cast<std::uint16_t>(bytesPerFrame));
    append(bytes, static_cast<std::uint16_t>(bytesPerSample * 8));
    bytes += "data";
    append(bytes, dataSize);
    return bytes;
}

}  // namespace

void writeWavFile(const std::filesystem::path& path, int sampleRate,
                  const std::vector<std::vector<float>>& channels) {
    const std::size_t frameCount = channels.at(0).size();
    std::string bytes = header(sampleRate, channels.size(), frameCount);
    for (std::size_t frame = 0; frame < frameCount; ++frame) {
        for (const std::vector<float>& channel : channels)
            append(bytes, channel.at(frame));
    }
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace tapwell::test
