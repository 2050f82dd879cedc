#pragma once

#include "Platform/SpeechAnalyzer.h"
#include "Platform/macOS/SystemTranscriber.h"

#include <memory>

namespace tapwell {

/// The system's speech analyzer.
class SystemAnalyzer final : public SpeechAnalyzer {
public:
    SystemAnalyzer(std::shared_ptr<SystemTranscriber> transcriber,
                   std::shared_ptr<SpeechGate> enginesGate);
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
