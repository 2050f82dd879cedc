#pragma once

#include "Platform/Environment.h"

#include <string>

namespace tapwell {

/// The one rule of every boolean variable: true when the value, trimmed and in lower case, is "1",
/// "true" or "yes". Read afresh at every call. Any thread.
bool isSwitchedOn(const Environment& environment, const std::string& variable);

}  // namespace tapwell
