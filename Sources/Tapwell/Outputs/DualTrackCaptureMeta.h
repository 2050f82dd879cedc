#pragma once

#include <cstdint>
#include <optional>

namespace tapwell {

/// When the first frame of each track's file was captured, in host ticks; absent where that is not
/// known.
struct DualTrackCaptureMeta {
    std::optional<std::uint64_t> micFirstHostAbsolute;
    std::optional<std::uint64_t> systemFirstHostAbsolute;
};

}  // namespace tapwell
