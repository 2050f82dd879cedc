#pragma once

#include "Platform/SpeechAnalyzer.h"
#include "Platform/macOS/SystemTranscriber.h"

#include <functional>
#include <memory>
#include <string>

namespace tapwell {

/// The system's speech analyzer.
class SystemAnalyzer final : public SpeechAnalyzer {
public:
    using Report = std::function<void(const std::string& message)>;

    /// `report` gets log lines, on the threads that yield audio, within their calls.
    SystemAnalyzer(std::shared_ptr<SystemTranscriber> transcriber,
                   std::shared_ptr<SpeechGate> enginesGate, Report report);
    ~SystemAnalyzer() override;
    SystemAnalyzer(const SystemAnalyzer&) = delete;
    SystemAnalyzer& operator=(const SystemAnalyzer&) = delete;

    void bestAvailableAudioFormat(
        std::function<void(std::optional<AudioFormat>)> completion) override;
    std::shared_ptr<SpeechAnalyzerInput> input() override;
    void start(SpeechCompletion completion) override;
    void finalizeAndFinishThroughEndOfInput(SpeechCompletion completion) override;

private:
    const std::shared_ptr<SystemTranscriber> transcriber_;
    const std::shared_ptr<SpeechGate> enginesGate_;
    const SpeechGates gates_;
    const std::shared_ptr<TapwellAnalyzer> native_;
    const std::shared_ptr<SpeechAnalyzerInput> input_;
};

}  // namespace tapwell
