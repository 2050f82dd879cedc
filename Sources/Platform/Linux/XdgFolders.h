#pragma once

#include "Platform/Environment.h"

#include <filesystem>

namespace tapwell {

/// Tapwell's folders in the user's home, where the XDG base directories are:
/// $XDG_STATE_HOME or ~/.local/state, and $XDG_DATA_HOME or ~/.local/share. A variable that is no
/// absolute path counts as unset. Empty when there is no home either. The folder may not exist.
std::filesystem::path tapwellStateFolder(const Environment& environment);
std::filesystem::path tapwellDataFolder(const Environment& environment);

}  // namespace tapwell
