#pragma once

namespace tapwell {

/// Ends the process: a caller broke what a function requires of it, and going on would produce
/// wrong audio. `message` goes to standard error.
[[noreturn]] void preconditionFailure(const char* message);

inline void precondition(bool holds, const char* message) {
    if (!holds) preconditionFailure(message);
}

}  // namespace tapwell
