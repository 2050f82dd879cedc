#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tapwell {

/// The process's surroundings, read afresh at every call. Any thread.
class Environment {
public:
    virtual ~Environment() = default;

    /// A variable's value; absent when it is not set.
    virtual std::optional<std::string> value(const std::string& name) const = 0;
    virtual std::int32_t processID() const = 0;
    /// Identifier of the current locale, such as "en_US".
    virtual std::string localeIdentifier() const = 0;
};

}  // namespace tapwell
