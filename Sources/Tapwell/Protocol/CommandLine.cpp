#include "Tapwell/Protocol/CommandLine.h"

#include "Tapwell/Diagnostics/TextFormat.h"
#include "Tapwell/Protocol/JsonReader.h"

#include <utility>

namespace tapwell {

std::optional<Command> parseCommand(std::string_view line) {
    std::optional<std::string> cmd;
    std::optional<std::string> outputPath;
    const auto keep = [&](const std::string& name, std::optional<std::string> text) {
        if (name == "cmd")
            cmd = std::move(text);
        else if (name == "outputPath")
            outputPath = std::move(text);
    };
    if (!JsonReader(trimmed(line)).readObject(keep) || !cmd) return std::nullopt;
    return Command{std::move(*cmd), std::move(outputPath)};
}

}  // namespace tapwell
