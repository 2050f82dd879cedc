#include "Support/Transcript.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace tapwell::test {
namespace {

std::string unescaped(std::string_view text) {
    std::string bytes;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] != '\\') {
            bytes += text[index];
            continue;
        }
        switch (text.at(++index)) {
            case 'n':
                bytes += '\n';
                break;
            case 'r':
                bytes += '\r';
                break;
            case 't':
                bytes += '\t';
                break;
            case '\\':
                bytes += '\\';
                break;
            case 'x':
                bytes += static_cast<char>(
                    std::stoi(std::string(text.substr(index + 1, 2)), nullptr, 16));
                index += 2;
                break;
            default:
                throw std::runtime_error("unknown escape");
        }
    }
    return bytes;
}

std::string repeated(std::string_view bytes, std::size_t count) {
    std::string result;
    result.reserve(bytes.size() * count);
    for (std::size_t index = 0; index < count; ++index)
        result += bytes;
    return result;
}

/// Takes "*COUNT" off the front of the rest of a line; 1 when there is none.
std::size_t takenCount(std::string_view& rest) {
    if (!rest.starts_with('*')) return 1;
    const std::size_t space = std::min(rest.find(' '), rest.size());
    const std::size_t count = std::stoul(std::string(rest.substr(1, space - 1)));
    rest.remove_prefix(space);
    return count;
}

/// `line` is neither empty nor a remark.
std::vector<Transcript::Step> parsedSteps(std::string_view line) {
    using Action = Transcript::Action;
    if (line == "eof") return {{Action::closeInput, "", 0}};
    const char direction = line[0];
    std::string_view rest = line.substr(1);
    const std::size_t count = takenCount(rest);
    if (!rest.starts_with(' ')) throw std::runtime_error("no space before the bytes");
    rest.remove_prefix(1);
    if (direction == '>') return {{Action::write, repeated(unescaped(rest), count), 0}};
    if (direction == '<') return {count, {Action::expectLine, std::string(rest), 0}};
    throw std::runtime_error("neither >, <, # nor eof");
}

}  // namespace

Transcript Transcript::ofFile(const std::filesystem::path& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot read " + path.string());
    Transcript transcript;
    std::string line;
    for (int lineNumber = 1; std::getline(file, line); ++lineNumber) {
        if (line.empty() || line.starts_with('#')) continue;
        try {
            for (Transcript::Step& step : parsedSteps(line)) {
                step.lineNumber = lineNumber;
                transcript.steps.push_back(std::move(step));
            }
        } catch (const std::exception& error) {
            throw std::runtime_error(path.string() + ":" + std::to_string(lineNumber) + ": " +
                                     error.what());
        }
    }
    return transcript;
}

}  // namespace tapwell::test
