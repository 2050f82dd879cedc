#include "Tapwell/Outputs/MonoPcm16WavReader.h"

#include "Platform/RecorderError.h"
#include "Tapwell/Outputs/WavHeader.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

namespace tapwell {
namespace {

constexpr int kTooSmall = 91;
constexpr int kNotWave = 92;
constexpr int kInvalidChunk = 93;
constexpr std::size_t kHeadBytes = 65536;
constexpr std::int64_t kScanBlockFrames = 8192;
constexpr int kSilenceThreshold = 500;
constexpr std::int64_t kMostBytesAtOnce = 262144;

/// Little-endian integers at an offset; the bytes must be there.
struct WavBinary {
    const std::vector<char>& bytes;

    std::uint16_t leU16(std::size_t at) const {
        return static_cast<std::uint16_t>(byte(at) | byte(at + 1) << 8U);
    }
    std::uint32_t leU32(std::size_t at) const {
        return leU16(at) | static_cast<std::uint32_t>(leU16(at + 2)) << 16U;
    }
    std::string_view id(std::size_t at) const { return {bytes.data() + at, 4}; }

private:
    unsigned byte(std::size_t at) const { return static_cast<unsigned char>(bytes[at]); }
};

}  // namespace

MonoPcm16WavReader::MonoPcm16WavReader(const std::string& path) : file_(path, std::ios::binary) {
    if (!file_)
        throw RecorderError("POSIX", errno,
                            "Cannot open \"" + path + "\": " + std::strerror(errno));
    std::vector<char> head(kHeadBytes);
    file_.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(std::max<std::streamsize>(file_.gcount(), 0)));
    file_.clear();
    parse(head);
}

void MonoPcm16WavReader::parse(const std::vector<char>& head) {
    if (head.size() < kWavHeaderBytes) throw RecorderError(kTooSmall, "WAV too small");
    const WavBinary binary{head};
    if (binary.id(0) != "RIFF" || binary.id(8) != "WAVE")
        throw RecorderError(kNotWave, "Not a RIFF WAVE");

    std::optional<std::uint32_t> dataBytes;
    bool hasFormat = false;
    for (std::uint64_t at = 12; at + 8 <= head.size();) {
        const auto chunk = static_cast<std::size_t>(at);
        const std::uint32_t size = binary.leU32(chunk + 4);
        if (binary.id(chunk) == "fmt " && !hasFormat) hasFormat = readFormat(head, chunk + 8, size);
        if (binary.id(chunk) == "data" && !dataBytes) {
            dataOffset_ = at + 8;
            dataBytes = size;
        }
        at += 8 + std::uint64_t{size} + size % 2;  // chunks begin at even offsets
    }
    if (!hasFormat || !dataBytes) throw RecorderError(kInvalidChunk, "Invalid fmt / data chunk");
    frameCount_ = *dataBytes / (2 * std::int64_t{channels_});
}

/// False for a format that this reader does not take.
bool MonoPcm16WavReader::readFormat(const std::vector<char>& head, std::size_t body,
                                    std::uint32_t size) {
    constexpr std::uint16_t kIntegerPcm = 1;
    constexpr std::uint16_t kExtensible = 0xFFFE;
    constexpr std::uint32_t kExtensibleBytes = 40;
    constexpr std::size_t kSubFormatOffset = 24;
    if (size < 16 || body + 16 > head.size()) return false;
    const WavBinary binary{head};
    std::uint16_t tag = binary.leU16(body);
    if (tag == kExtensible) {
        if (size < kExtensibleBytes || body + kExtensibleBytes > head.size()) return false;
        tag = binary.leU16(body + kSubFormatOffset);
    }
    channels_ = binary.leU16(body + 2);
    sampleRate_ = binary.leU32(body + 4);
    return tag == kIntegerPcm && channels_ > 0 && sampleRate_ > 0 && binary.leU16(body + 14) == 16;
}

std::vector<std::int16_t> MonoPcm16WavReader::readFrames(std::int64_t from, std::int64_t count) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(count));
    // In pieces, so that a file of very many channels takes no more memory than another.
    const std::int64_t most = std::max<std::int64_t>(kMostBytesAtOnce / frameBytes(), 1);
    for (std::int64_t done = 0; done < count; done += most)
        readPiece(from + done, std::span(samples).subspan(
                                   static_cast<std::size_t>(done),
                                   static_cast<std::size_t>(std::min(most, count - done))));
    return samples;
}

void MonoPcm16WavReader::readPiece(std::int64_t from, std::span<std::int16_t> samples) {
    const auto stride = static_cast<std::size_t>(frameBytes());
    std::vector<char> bytes(samples.size() * stride);
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(dataOffset_) +
                static_cast<std::streamoff>(from * frameBytes()));
    file_.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (static_cast<std::size_t>(file_.gcount()) < bytes.size())
        throw RecorderError(0, "WAV read short at frame " + std::to_string(from));
    const WavBinary binary{bytes};
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(binary.leU16(i * stride));
}

std::int64_t MonoPcm16WavReader::frameCountAtOutputRate(double outputRate) const {
    if (std::abs(sampleRate_ - outputRate) < 0.5) return frameCount_;
    const double frames = static_cast<double>(frameCount_) * outputRate / sampleRate_;
    return std::max<std::int64_t>(1, static_cast<std::int64_t>(std::floor(frames)));
}

std::int64_t MonoPcm16WavReader::firstNonSilentFrameIndex() {
    for (std::int64_t from = 0; from < frameCount_; from += kScanBlockFrames) {
        const auto block = readFrames(from, std::min(kScanBlockFrames, frameCount_ - from));
        const auto loud = std::ranges::find_if(
            block, [](std::int16_t sample) { return std::abs(int{sample}) > kSilenceThreshold; });
        if (loud != block.end()) return from + (loud - block.begin());
    }
    return frameCount_;
}

}  // namespace tapwell
