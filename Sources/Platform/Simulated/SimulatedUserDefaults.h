#pragma once

#include "Platform/UserDefaults.h"

#include <map>
#include <string>

namespace tapwell {

/// Flags in memory. A test that gives two hosts the same flags has them survive the process.
class SimulatedUserDefaults final : public UserDefaults {
public:
    std::map<std::string, bool> values;

    bool boolForKey(const std::string& key) override {
        const auto found = values.find(key);
        return found != values.end() && found->second;
    }
    void setBool(bool value, const std::string& key) override { values[key] = value; }
};

}  // namespace tapwell
