#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tapwell::test {

/// A recorded conversation with the program. In its file, one step a line:
///
///     # a remark
///     > bytes            written to standard input by one call, with the escapes \n \r \t \\ and
///                        \xHH; no line end is added
///     >*COUNT bytes      the same, the bytes repeated COUNT times
///     < line             the exact next line of standard output, without its end
///     <*COUNT line       that line so many times
///     eof                standard input is closed
///
/// The conversation always ends with the program's end: nothing more on standard output, exit
/// status 0.
struct Transcript {
    enum class Action { write, expectLine, closeInput };

    struct Step {
        Action action = Action::write;
        std::string bytes;
        int lineNumber = 0;
    };

    std::vector<Step> steps;

    /// Throws std::runtime_error naming the file and line of a mistake.
    static Transcript ofFile(const std::filesystem::path& path);
};

}  // namespace tapwell::test
