#pragma once

#include "Platform/Environment.h"

namespace tapwell {

/// The environment of the process, and the locale that the user chose in the system's settings. The
/// program never changes its own variables, hence any thread may read them.
class MacEnvironment final : public Environment {
public:
    std::optional<std::string> value(const std::string& name) const override;
    std::int32_t processID() const override;
    std::string localeIdentifier() const override;
};

}  // namespace tapwell
