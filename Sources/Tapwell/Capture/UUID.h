#pragma once

#include <string>

namespace tapwell {

/// A fresh random UUID (RFC 4122, version 4), upper-case with hyphens.
std::string makeUUID();

}  // namespace tapwell
