#pragma once

#include "Platform/StandardStreams.h"

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace tapwell {

/// Standard streams in memory. Input is scripted: each step is a line, or something to do (let time
/// pass, look at the output) before the next line is read. When the script is over, input ends.
class SimulatedStandardStreams final : public StandardStreams {
public:
    void scriptLine(std::string line) {
        script_.push_back({{InputStatus::line, std::move(line)}, nullptr});
    }
    void scriptAction(std::function<void()> action) { script_.push_back({{}, std::move(action)}); }
    void scriptTermination() { script_.push_back({{InputStatus::terminate, ""}, nullptr}); }

    /// When set, gets each write to standard output, which then is not kept.
    std::function<void(std::string_view bytes)> outputReader;

    Input readLine() override {
        while (!script_.empty()) {
            const Step step = std::move(script_.front());
            script_.pop_front();
            if (!step.action) return step.input;
            step.action();
        }
        return {InputStatus::endOfInput, ""};
    }
    void writeOutput(std::string_view bytes) override {
        if (outputReader)
            outputReader(bytes);
        else
            output_ += bytes;
    }
    void writeError(std::string_view line) override { errors_.emplace_back(line); }

    /// Everything written to standard output.
    const std::string& output() const { return output_; }
    /// The lines of standard output, without terminators.
    std::vector<std::string> outputLines() const;
    /// The lines written to standard error, terminators included.
    const std::vector<std::string>& errorLines() const { return errors_; }
    /// How many lines of standard error contain `text`.
    int countErrorLines(std::string_view text) const;

private:
    struct Step {
        Input input;
        std::function<void()> action;
    };
    std::deque<Step> script_;
    std::string output_;
    std::vector<std::string> errors_;
};

}  // namespace tapwell
