#pragma once

#include <cstddef>
#include <string_view>

namespace tapwell {

/// Bytes of the character that `text` begins with: 1 to 4, or 0 where no well-formed one stands
/// (a stray, missing or overlong byte, a surrogate, beyond U+10FFFF; The Unicode Standard,
/// table 3-7).
std::size_t utf8CharacterSize(std::string_view text);

}  // namespace tapwell
