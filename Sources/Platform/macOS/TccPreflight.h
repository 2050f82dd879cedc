#pragma once

#include <optional>

namespace tapwell {

/// What the system's permission service says about capture of system audio by this process: 0
/// granted, 1 denied, anything else undetermined. Absent when the service, which is private to the
/// system, is not where it is expected. Never prompts. Any thread.
std::optional<int> tccAudioCapturePreflight();

}  // namespace tapwell
