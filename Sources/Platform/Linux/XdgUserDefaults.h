#pragma once

#include "Platform/Environment.h"
#include "Platform/UserDefaults.h"

#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace tapwell {

/// Flags in one JSON object in the user's state folder, "defaults.json", readable by the user alone
/// and replaced as a whole. A file that is missing or broken holds no flags; a broken one is left
/// alone until a flag is set. Of two processes that set flags at the same moment, the last one
/// wins.
class XdgUserDefaults final : public UserDefaults {
public:
    XdgUserDefaults(const Environment& environment,
                    std::function<void(const std::string& message)> log);

    bool boolForKey(const std::string& key) override;
    void setBool(bool value, const std::string& key) override;

    const std::filesystem::path& file() const { return file_; }

private:
    const std::filesystem::path file_;  ///< empty when there is no place for it
    const std::function<void(const std::string& message)> log_;
    std::mutex lock_;
    std::map<std::string, bool> setHere_;  ///< guarded by lock_; goes before the file
};

}  // namespace tapwell
