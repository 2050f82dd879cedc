#pragma once

#include "Platform/Environment.h"

namespace tapwell {

/// The environment of a POSIX process. The program never changes its own variables, hence any
/// thread may read them.
class LinuxEnvironment final : public Environment {
public:
    std::optional<std::string> value(const std::string& name) const override;
    std::int32_t processID() const override;
    /// The first of LC_ALL, LC_MESSAGES and LANG that is not empty, without character set and
    /// modifier; "en_US" when it names no language.
    std::string localeIdentifier() const override;
};

}  // namespace tapwell
