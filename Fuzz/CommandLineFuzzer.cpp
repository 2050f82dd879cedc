#include "Tapwell/Diagnostics/TextFormat.h"
#include "Tapwell/Protocol/CommandLine.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

// Any line must give what a whole JSON tree of it gives; two parsers must agree. Lines that nest
// deeply are left to parseCommand's own bound, which the tree does not have.

namespace {

constexpr std::size_t kLongestLine = 4096;

std::optional<std::string> stringMember(const nlohmann::json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end() || !found->is_string()) return std::nullopt;
    return found->get<std::string>();
}

std::optional<tapwell::Command> referenceParse(std::string_view line) {
    // The library takes a NUL byte for the end of the text.
    if (line.find('\0') != std::string_view::npos) return std::nullopt;
    const auto value = nlohmann::json::parse(tapwell::trimmed(line));
    if (!value.is_object()) return std::nullopt;
    const auto cmd = stringMember(value, "cmd");
    if (!cmd) return std::nullopt;
    return tapwell::Command{*cmd, stringMember(value, "outputPath")};
}

void compare(std::string_view line, const std::optional<tapwell::Command>& command) {
    std::optional<tapwell::Command> expected;
    try {
        expected = referenceParse(line);
    } catch (const nlohmann::json::parse_error&) {
    } catch (const nlohmann::json::out_of_range&) {
        return;  // a number too large for the library, which the recorder does not look at
    }
    if (command.has_value() != expected.has_value()) std::abort();
    if (command && (command->cmd != expected->cmd || command->outputPath != expected->outputPath))
        std::abort();
}

bool isDeep(std::string_view line) {
    std::size_t openings = 0;
    for (char c : line)
        if (c == '[' || c == '{') ++openings;
    return openings > 500;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view line(reinterpret_cast<const char*>(data), size);
    const auto command = tapwell::parseCommand(line);
    if (size > kLongestLine || isDeep(line)) return 0;
    compare(line, command);
    return 0;
}
