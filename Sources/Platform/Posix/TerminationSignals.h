#pragma once

#include <array>
#include <csignal>

namespace tapwell {

/// Turns the signals that ask a process to end into a readable file descriptor, and ignores the
/// signals that would end it for a failed write. The destructor puts the former handling back. One
/// at a time in a process; made and destroyed on one thread.
class TerminationSignals {
public:
    TerminationSignals();
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    /// Readable from the first SIGINT, SIGTERM or SIGHUP on; nobody reads it. Lives as long as the
    /// process.
    int descriptor() const;

private:
    static constexpr std::array kTerminating = {SIGINT, SIGTERM, SIGHUP};
    static constexpr std::array kIgnored = {SIGPIPE, SIGXFSZ};

    std::array<struct sigaction, kTerminating.size()> formerTerminating_{};
    std::array<struct sigaction, kIgnored.size()> formerIgnored_{};
};

}  // namespace tapwell
