#pragma once

#include "Platform/UserDefaults.h"

namespace tapwell {

/// The user's defaults database, in the domain of the executable's bundle identifier.
class MacUserDefaults final : public UserDefaults {
public:
    bool boolForKey(const std::string& key) override;
    void setBool(bool value, const std::string& key) override;
};

}  // namespace tapwell
