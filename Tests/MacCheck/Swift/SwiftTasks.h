#pragma once

#include <cstddef>

namespace maccheck {

/// While it is there, Swift's tasks run when a test says, on its thread, instead of on Swift's own.
/// One at a time, one thread.
class SwiftTasks {
public:
    /// Which of the tasks that could go on does so first. Swift promises neither.
    enum class Order { oldestFirst, newestFirst };

    explicit SwiftTasks(Order order = Order::oldestFirst);
    /// Runs what is left.
    ~SwiftTasks();
    SwiftTasks(const SwiftTasks&) = delete;
    SwiftTasks& operator=(const SwiftTasks&) = delete;

    /// Until every task has ended or waits for something else. Returns how many steps they made.
    std::size_t run();
};

}  // namespace maccheck
