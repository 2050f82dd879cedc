#pragma once

#include "Support/ChildProcess.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tapwell::test {

/// The built program, driven the way its parent drives it.
class TapwellProcess : public ChildProcess {
public:
    using Environment = std::map<std::string, std::optional<std::string>>;

    /// How long an answer may take before a test gives up: long enough for a sanitizer's build on
    /// a busy machine.
    static constexpr std::chrono::seconds patience{20};

    explicit TapwellProcess(const std::string& program, const Environment& environment = {});

    /// Writes one command and its line end.
    bool send(const nlohmann::json& command) const;
    bool sendStart(const std::filesystem::path& outputPath) const;
    bool sendStop() const;

    /// The next line of standard output; absent when none came in time.
    std::optional<std::string> nextLine(std::chrono::milliseconds timeLimit = patience);

    /// The next event; empty when none came in time or the line is not a JSON object.
    nlohmann::json nextEvent(std::chrono::milliseconds timeLimit = patience);

    /// Starts a recording and waits until it runs; the answer, which is `started` when all is
    /// well.
    nlohmann::json start(const std::filesystem::path& outputPath);

    /// Stops the recording; the answer, which is `finalized` when all is well.
    nlohmann::json stop();

    /// Sends a `status` command and takes the lines up to its answer: everything that the program
    /// had to say about the commands before.
    std::vector<nlohmann::json> eventsUntilStatus();

    /// Closes standard input and waits for the end.
    std::optional<Ending> endInput();

    /// Waits for the end with the usual patience.
    std::optional<Ending> waitForEnd();
};

}  // namespace tapwell::test
