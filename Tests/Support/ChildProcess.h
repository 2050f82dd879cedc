#pragma once

#include "Support/ProcessOutput.h"

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tapwell::test {

/// A program that a test runs, with its three standard streams on pipes. Killed at destruction if
/// it has not ended by then.
class ChildProcess {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// How a process ended: by `exit` with a status, or by a signal.
    struct Ending {
        std::optional<int> exitStatus;
        std::optional<int> signal;
    };

    struct Output {
        Ending ending;
        std::string standardOutput;
        std::string standardError;
    };

    /// Starts `arguments[0]`, looked up in PATH, with this process's environment changed by
    /// `environment`; an absent value removes a variable. Throws std::system_error.
    explicit ChildProcess(
        const std::vector<std::string>& arguments,
        const std::map<std::string, std::optional<std::string>>& environment = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Runs a program to its end with an empty standard input.
    static Output run(const std::vector<std::string>& arguments,
                      const std::map<std::string, std::optional<std::string>>& environment = {});

    pid_t pid() const { return pid_; }

    /// Writes all bytes to standard input; false when the process no longer reads them.
    bool write(std::string_view bytes) const;
    void closeInput();

    ProcessOutput& standardOutput() { return *output_; }
    ProcessOutput& standardError() { return *errors_; }

    void signal(int number) const;

    /// Waits for the end; absent when the process still ran at the deadline.
    std::optional<Ending> wait(TimePoint deadline);

    std::size_t openDescriptorCount() const;
    std::size_t threadCount() const;
    std::size_t residentBytes() const;

    /// The limit of the size of a file that the process may write; as `ulimit -f` sets it.
    void limitFileSize(std::size_t bytes) const;

private:
    pid_t pid_ = -1;
    int inputDescriptor_ = -1;
    std::unique_ptr<ProcessOutput> output_;
    std::unique_ptr<ProcessOutput> errors_;
    std::optional<Ending> ending_;
};

}  // namespace tapwell::test
