#include "Platform/Simulated/SimulatedStandardStreams.h"

#include <sstream>

namespace tapwell {

std::vector<std::string> SimulatedStandardStreams::outputLines() const {
    std::vector<std::string> lines;
    std::istringstream text(output_);
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

int SimulatedStandardStreams::countErrorLines(std::string_view text) const {
    int count = 0;
    for (const std::string& line : errors_)
        if (line.find(text) != std::string::npos) ++count;
    return count;
}

}  // namespace tapwell
