#include "Support/TapwellProcess.h"

namespace tapwell::test {

using nlohmann::json;

TapwellProcess::TapwellProcess(const std::string& program, const Environment& environment)
    : ChildProcess({program}, environment) {}

bool TapwellProcess::send(const json& command) const {
    return write(command.dump() + "\n");
}

bool TapwellProcess::sendStart(const std::filesystem::path& outputPath) const {
    return send({{"cmd", "start"}, {"outputPath", outputPath.string()}});
}

bool TapwellProcess::sendStop() const {
    return send({{"cmd", "stop"}});
}

std::optional<std::string> TapwellProcess::nextLine(std::chrono::milliseconds timeLimit) {
    std::string line;
    if (!standardOutput().takeLine(line, std::chrono::steady_clock::now() + timeLimit)) {
        return std::nullopt;
    }
    return line;
}

json TapwellProcess::nextEvent(std::chrono::milliseconds timeLimit) {
    const std::optional<std::string> line = nextLine(timeLimit);
    json event = json::parse(line.value_or(""), nullptr, false);
    return event.is_object() ? event : json::object();
}

json TapwellProcess::start(const std::filesystem::path& outputPath) {
    sendStart(outputPath);
    return nextEvent();
}

json TapwellProcess::stop() {
    sendStop();
    return nextEvent();
}

std::vector<json> TapwellProcess::eventsUntilStatus() {
    send({{"cmd", "status"}});
    std::vector<json> events;
    for (;;) {
        events.push_back(nextEvent());
        if (events.back().empty() || events.back().value("event", "") == "status") return events;
    }
}

std::optional<ChildProcess::Ending> TapwellProcess::endInput() {
    closeInput();
    return waitForEnd();
}

std::optional<ChildProcess::Ending> TapwellProcess::waitForEnd() {
    return wait(std::chrono::steady_clock::now() + patience);
}

}  // namespace tapwell::test
