#include "Tapwell/Outputs/WavHeader.h"

#include "RecorderMixBus/Precondition.h"

#include <limits>
#include <string_view>

namespace tapwell {
namespace {

constexpr std::uint32_t kBytesPerFrame = 2;

/// Fills the header from front to back, little-endian.
class HeaderWriter {
public:
    void text(std::string_view fourCharacters) {
        for (char c : fourCharacters)
            put(static_cast<unsigned char>(c));
    }
    void u16(std::uint32_t value) {
        put(value);
        put(value >> 8U);
    }
    void u32(std::uint32_t value) {
        u16(value);
        u16(value >> 16U);
    }
    const std::array<std::byte, kWavHeaderBytes>& header() const { return header_; }

private:
    void put(std::uint32_t value) { header_[at_++] = static_cast<std::byte>(value & 0xFFU); }

    std::array<std::byte, kWavHeaderBytes> header_{};
    std::size_t at_ = 0;
};

}  // namespace

std::array<std::byte, kWavHeaderBytes> monoPcm16WavHeader(std::uint32_t sampleRate,
                                                          std::uint32_t dataByteCount) {
    constexpr std::uint32_t kRiffOverhead = kWavHeaderBytes - 8;
    precondition(sampleRate <= std::numeric_limits<std::int32_t>::max(),
                 "WAV sample rate does not fit");
    precondition(dataByteCount <= std::numeric_limits<std::uint32_t>::max() - kRiffOverhead,
                 "WAV data does not fit");
    HeaderWriter out;
    out.text("RIFF");
    out.u32(dataByteCount + kRiffOverhead);
    out.text("WAVE");
    out.text("fmt ");
    out.u32(16);  // bytes of this chunk
    out.u16(1);   // integer PCM
    out.u16(1);   // channels
    out.u32(sampleRate);
    out.u32(sampleRate * kBytesPerFrame);
    out.u16(kBytesPerFrame);
    out.u16(16);  // bits a sample
    out.text("data");
    out.u32(dataByteCount);
    return out.header();
}

}  // namespace tapwell
