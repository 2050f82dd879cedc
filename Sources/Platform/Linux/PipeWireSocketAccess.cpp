#include "Platform/Linux/PipeWireSocketAccess.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace tapwell {
namespace {

bool isForbidden(const std::string& path) {
    // With the effective identity, which is what connecting goes by.
    return faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK, AT_EACCESS) != 0 && errno == EACCES;
}

}  // namespace

bool isPipeWireSocketForbidden() {
    const char* remote = std::getenv("PIPEWIRE_REMOTE");
    const std::string name = remote != nullptr && *remote != '\0' ? remote : "pipewire-0";
    if (name.front() == '/') return isForbidden(name);
    for (const char* variable : {"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR"}) {
        const char* directory = std::getenv(variable);
        if (directory != nullptr) return isForbidden(std::string(directory) + "/" + name);
    }
    return false;
}

}  // namespace tapwell
