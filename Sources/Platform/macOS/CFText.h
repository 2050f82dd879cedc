#pragma once

#include "Platform/macOS/CFReference.h"

#include <string>

namespace tapwell {

/// A string object of UTF-8 text; empty when the text is no UTF-8.
CFReference<CFStringRef> makeCFString(const std::string& text);

/// The text of a string object as UTF-8; "" when it has none.
std::string textOf(CFStringRef string);

}  // namespace tapwell
