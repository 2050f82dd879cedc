#pragma once

#include "Platform/AudioObject.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tapwell {

/// What a process tap listens to.
struct TapDescription {
    enum class MuteBehavior : std::int64_t { unmuted = 0, muted = 1, mutedWhenTapped = 2 };

    /// A mixdown of everything that is played, except by the given process objects.
    static TapDescription stereoGlobalTapButExcludeProcesses(std::vector<AudioObjectID> processes) {
        TapDescription description;
        description.excludedProcesses = std::move(processes);
        return description;
    }

    std::vector<AudioObjectID> excludedProcesses;
    std::string uuid;  ///< upper-case, with hyphens
    std::string name;
    MuteBehavior muteBehavior = MuteBehavior::unmuted;
};

}  // namespace tapwell
