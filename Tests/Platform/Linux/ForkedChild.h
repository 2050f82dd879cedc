#pragma once

#include <sys/types.h>

#include <functional>

namespace tapwell::test {

/// A forked child that runs one function and exits with what it returns.
class ForkedChild {
public:
    explicit ForkedChild(const std::function<int()>& body);
    /// Kills a child that still runs.
    ~ForkedChild();
    ForkedChild(const ForkedChild&) = delete;
    ForkedChild& operator=(const ForkedChild&) = delete;

    /// Ends the child with SIGKILL and waits for its end.
    void kill();
    /// Waits for the child's end and returns its exit code, or minus the signal that ended it.
    int wait();

private:
    pid_t pid_ = -1;
};

}  // namespace tapwell::test
