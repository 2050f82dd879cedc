#pragma once

#include <sys/types.h>

#include <functional>

namespace tapwell::testing {

/// A forked child that runs one function and exits with what it returns.
class ChildProcess {
public:
    explicit ChildProcess(const std::function<int()>& body);
    /// Kills a child that still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Ends the child with SIGKILL and waits for its end.
    void kill();
    /// Waits for the child's end and returns its exit code, or minus the signal that ended it.
    int wait();

private:
    pid_t pid_ = -1;
};

}  // namespace tapwell::testing
