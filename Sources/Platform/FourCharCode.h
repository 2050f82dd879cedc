#pragma once

#include <cstdint>

namespace tapwell {

/// Packs four characters big-endian into one word, the way audio systems name selectors, scopes,
/// formats and errors: fourCharCode("nsrt") == 0x6E737274.
constexpr std::uint32_t fourCharCode(const char (&code)[5]) {
    std::uint32_t packed = 0;
    for (int i = 0; i < 4; ++i)
        packed = (packed << 8) | static_cast<unsigned char>(code[i]);
    return packed;
}

}  // namespace tapwell
