#include "Tapwell/Diagnostics/TextFormat.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace tapwell {
namespace {

// White space beyond ASCII, in UTF-8: U+0085, U+00A0, U+1680, U+2000 to U+200A, U+2028, U+2029,
// U+202F, U+205F, U+3000.
constexpr std::array<std::string_view, 19> kWideSpaces = {
    "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81",
    "\xE2\x80\x82", "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85", "\xE2\x80\x86",
    "\xE2\x80\x87", "\xE2\x80\x88", "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\xA8",
    "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F", "\xE3\x80\x80"};

bool isAsciiSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

std::size_t spaceAtFront(std::string_view text) {
    if (!text.empty() && isAsciiSpace(text.front())) return 1;
    for (std::string_view space : kWideSpaces)
        if (text.starts_with(space)) return space.size();
    return 0;
}

std::size_t spaceAtBack(std::string_view text) {
    if (!text.empty() && isAsciiSpace(text.back())) return 1;
    for (std::string_view space : kWideSpaces)
        if (text.ends_with(space)) return space.size();
    return 0;
}

}  // namespace

std::string shortestText(double value) {
    if (!std::isfinite(value)) return std::isnan(value) ? "nan" : (value > 0 ? "inf" : "-inf");
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    std::string text(digits.data(), end);
    if (text.find_first_of(".e") == std::string::npos) text += ".0";
    return text;
}

std::string fixedText(double value, int decimals) {
    std::array<char, 400> text{};
    const int length = std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    return std::string(text.data(), static_cast<std::size_t>(length));
}

std::string_view trimmed(std::string_view text) {
    while (const std::size_t n = spaceAtFront(text))
        text.remove_prefix(n);
    while (const std::size_t n = spaceAtBack(text))
        text.remove_suffix(n);
    return text;
}

}  // namespace tapwell
