#pragma once

#include "Platform/Environment.h"

#include <map>

namespace tapwell {

/// Variables that a test sets.
class SimulatedEnvironment final : public Environment {
public:
    std::map<std::string, std::string> variables;

    std::optional<std::string> value(const std::string& name) const override {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    }
    std::int32_t processID() const override { return 4242; }
    std::string localeIdentifier() const override { return "en_US"; }
};

}  // namespace tapwell
