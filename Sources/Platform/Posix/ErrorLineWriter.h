#pragma once

#include <cstdint>
#include <mutex>
#include <string_view>

namespace tapwell {

/// Writes log lines to a file descriptor without ever waiting for its reader, whose flags it leaves
/// alone because other processes may share them. A line that finds no room is dropped; the number
/// of dropped lines goes first when there is room again. Any thread.
class ErrorLineWriter {
public:
    explicit ErrorLineWriter(int descriptor) : descriptor_(descriptor) {}

    /// `line` ends with its terminator; one of more than PIPE_BUF bytes is cut to that.
    void write(std::string_view line);

private:
    bool writeIfRoom(std::string_view line);
    bool writeDroppedCount();

    const int descriptor_;
    std::mutex mutex_;
    bool isClosed_ = false;           ///< guarded by mutex_
    std::uint64_t droppedLines_ = 0;  ///< guarded by mutex_
};

}  // namespace tapwell
