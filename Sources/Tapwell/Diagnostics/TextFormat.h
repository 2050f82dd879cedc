#pragma once

#include <string>
#include <string_view>

namespace tapwell {

/// A number the shortest way that reads back as the same value, always with a fraction:
/// 48000 gives "48000.0".
std::string shortestText(double value);

/// A number with a fixed count of decimals, as printf's "%.<decimals>f".
std::string fixedText(double value, int decimals);

inline const char* boolText(bool value) {
    return value ? "true" : "false";
}

/// Without the white space and line breaks (Unicode's included; UTF-8) at both ends.
std::string_view trimmed(std::string_view text);

}  // namespace tapwell
