#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

namespace tapwell::test {

/// A WAV file of 16-bit PCM, byte by byte: as a test expects it, and as a test makes it.
struct Pcm16Wav {
    std::string bytes;

    static Pcm16Wav read(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {{std::istreambuf_iterator<char>(file), {}}};
    }

    static Pcm16Wav make(std::uint32_t rate, std::span<const std::int16_t> samples,
                         std::uint16_t channels = 1) {
        const auto dataBytes = static_cast<std::uint32_t>(samples.size_bytes());
        Pcm16Wav wav;
        wav.bytes = "RIFF" + le(36 + dataBytes, 4) + "WAVEfmt " + le(16, 4) + le(1, 2) +
                    le(channels, 2) + le(rate, 4) + le(rate * 2 * channels, 4) +
                    le(2U * channels, 2) + le(16, 2) + "data" + le(dataBytes, 4);
        for (const std::int16_t sample : samples)
            wav.bytes += le(static_cast<std::uint16_t>(sample), 2);
        return wav;
    }

    void write(const std::string& path) const {
        std::ofstream(path, std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    std::uint32_t riffSize() const { return number(4, 4); }
    std::uint32_t dataSize() const { return number(40, 4); }
    std::uint32_t sampleRate() const { return number(24, 4); }
    std::size_t frameCount() const { return (bytes.size() - 44) / 2; }
    std::int16_t sample(std::size_t index) const {
        return static_cast<std::int16_t>(number(44 + 2 * index, 2));
    }
    std::vector<std::int16_t> samples() const {
        std::vector<std::int16_t> result(frameCount());
        for (std::size_t i = 0; i < result.size(); ++i)
            result[i] = sample(i);
        return result;
    }

    /// An integer in little-endian bytes.
    static std::string le(std::uint32_t value, int count) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += static_cast<char>(value >> (8 * i) & 0xFFU);
        return text;
    }

private:
    std::uint32_t number(std::size_t at, int count) const {
        std::uint32_t value = 0;
        for (int i = count - 1; i >= 0; --i)
            value =
                value << 8 | static_cast<unsigned char>(bytes.at(at + static_cast<std::size_t>(i)));
        return value;
    }
};

}  // namespace tapwell::test
