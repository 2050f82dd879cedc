#pragma once

#include <string>

namespace tapwell {

/// The BCP-47 form of a locale identifier, without its keywords: "en_US@currency=EUR" gives
/// "en-US".
std::string bcp47Identifier(const std::string& localeIdentifier);

}  // namespace tapwell
