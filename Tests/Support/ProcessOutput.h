#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

namespace tapwell::test {

/// Everything that a file descriptor delivers, read on a thread of its own so that the writer is
/// never held up. Closes the descriptor at its end.
class ProcessOutput {
public:
    explicit ProcessOutput(int descriptor);
    ~ProcessOutput();
    ProcessOutput(const ProcessOutput&) = delete;
    ProcessOutput& operator=(const ProcessOutput&) = delete;

    /// All bytes so far.
    std::string text() const;

    /// Takes the next line, without its end, that no call has taken yet. False when none came
    /// before the deadline, or when the end was reached without one.
    bool takeLine(std::string& line, std::chrono::steady_clock::time_point deadline);

    /// Waits until the writer has closed its end; false when it had not by the deadline.
    bool waitForEnd(std::chrono::steady_clock::time_point deadline);

    /// Waits until the text holds `part`; false when it did not by the deadline or the end.
    bool waitForText(const std::string& part, std::chrono::steady_clock::time_point deadline);

    /// Stops reading and closes the descriptor: a later write at the other end fails.
    void close();

private:
    void readAll();

    int descriptor_;
    int wakeUpDescriptor_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::string text_;
    std::size_t taken_ = 0;
    bool ended_ = false;
    std::thread reader_;
};

}  // namespace tapwell::test
