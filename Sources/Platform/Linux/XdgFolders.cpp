#include "Platform/Linux/XdgFolders.h"

namespace tapwell {
namespace {

constexpr const char* kProgramFolder = "tapwell";

std::filesystem::path absolutePath(const Environment& environment, const char* variable) {
    const std::filesystem::path path = environment.value(variable).value_or("");
    return path.is_absolute() ? path : std::filesystem::path();
}

std::filesystem::path programFolder(const Environment& environment, const char* variable,
                                    const char* belowHome) {
    const auto chosen = absolutePath(environment, variable);
    if (!chosen.empty()) return chosen / kProgramFolder;
    const auto home = absolutePath(environment, "HOME");
    return home.empty() ? home : home / belowHome / kProgramFolder;
}

}  // namespace

std::filesystem::path tapwellStateFolder(const Environment& environment) {
    return programFolder(environment, "XDG_STATE_HOME", ".local/state");
}

std::filesystem::path tapwellDataFolder(const Environment& environment) {
    return programFolder(environment, "XDG_DATA_HOME", ".local/share");
}

}  // namespace tapwell
