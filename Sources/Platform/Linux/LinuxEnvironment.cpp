#include "Platform/Linux/LinuxEnvironment.h"

#include <unistd.h>

#include <cstdlib>

namespace tapwell {

std::optional<std::string> LinuxEnvironment::value(const std::string& name) const {
    const char* const found = std::getenv(name.c_str());
    if (found == nullptr) return std::nullopt;
    return found;
}

std::int32_t LinuxEnvironment::processID() const {
    return getpid();
}

std::string LinuxEnvironment::localeIdentifier() const {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const std::string locale = value(name).value_or("");
        if (locale.empty()) continue;
        const std::string identifier = locale.substr(0, locale.find_first_of(".@"));
        if (identifier.empty() || identifier == "C" || identifier == "POSIX") break;
        return identifier;
    }
    return "en_US";
}

}  // namespace tapwell
