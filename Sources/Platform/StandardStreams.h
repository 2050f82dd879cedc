#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tapwell {

/// The three standard streams of the process.
class StandardStreams {
public:
    enum class InputStatus {
        line,        ///< a line was read
        endOfInput,  ///< the parent closed standard input; no line
        terminate,   ///< the process was asked to end by a signal; no line
    };
    struct Input {
        InputStatus status = InputStatus::endOfInput;
        std::string line;  ///< without its terminator; any bytes
    };

    virtual ~StandardStreams() = default;

    /// Blocks for the next line of standard input. A last line without a terminator counts as one.
    /// A line longer than the host is ready to hold is passed over as if it were blank. One thread
    /// at a time.
    virtual Input readLine() = 0;

    /// Writes all of `bytes` to standard output, whole with respect to every other call, and
    /// flushes. A closed output is no error: the bytes are dropped. Any thread; may block while the
    /// reader does not read.
    virtual void writeOutput(std::string_view bytes) = 0;

    /// Writes one line, terminator included, to standard error. Any thread; never blocks: a line
    /// that the reader has left no room for is dropped, and the number of dropped lines is written
    /// once there is room again.
    virtual void writeError(std::string_view line) = 0;
};

}  // namespace tapwell
