#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tapwell {

/// One command of the parent process.
struct Command {
    std::string cmd;
    std::optional<std::string> outputPath;
};

/// Reads a command from one line: a JSON object (RFC 8259; white space around it is accepted) with
/// a string member "cmd"; of duplicate members the last counts. Absent for anything else: a blank
/// line, text that is not JSON or not UTF-8, another JSON value, a missing or non-string "cmd",
/// values nested deeper than 512. Other members are ignored; an "outputPath" that is no string
/// counts as absent. Memory stays within a small multiple of the longest string in the line.
std::optional<Command> parseCommand(std::string_view line);

}  // namespace tapwell
