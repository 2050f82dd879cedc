#include "Platform/macOS/MacEnvironment.h"

#include "Platform/macOS/CFText.h"

#include <unistd.h>

#include <cstdlib>

namespace tapwell {

std::optional<std::string> MacEnvironment::value(const std::string& name) const {
    const char* const found = std::getenv(name.c_str());
    if (found == nullptr) return std::nullopt;
    return found;
}

std::int32_t MacEnvironment::processID() const {
    return getpid();
}

std::string MacEnvironment::localeIdentifier() const {
    const CFReference<CFLocaleRef> locale(CFLocaleCopyCurrent());
    return textOf(CFLocaleGetIdentifier(locale.get()));
}

}  // namespace tapwell
