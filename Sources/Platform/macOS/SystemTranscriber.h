#pragma once

#include "Platform/SpeechTranscriber.h"
#include "Platform/macOS/AnalyzerBridge.h"
#include "Platform/macOS/AnalyzerCalls.h"

#include <memory>
#include <mutex>
#include <string>

namespace tapwell {

/// A module of the system's speech analyzer.
class SystemTranscriber final : public SpeechTranscriber {
public:
    SystemTranscriber(const std::string& localeIdentifier, std::shared_ptr<SpeechGate> enginesGate);
    ~SystemTranscriber() override;
    SystemTranscriber(const SystemTranscriber&) = delete;
    SystemTranscriber& operator=(const SystemTranscriber&) = delete;

    void modelStatus(std::function<void(SpeechModelStatus)> completion) override;
    void installModel(SpeechCompletion completion) override;
    void setResultHandlers(std::function<void(const SpeechResult&)> onResult,
                           std::function<void(const RecorderError&)> onFailure) override;

    /// Begins to hand results to the handlers. Once; for the analyzer.
    void readResults();
    /// From now on no handler begins. For the analyzer.
    void closeResults();
    TapwellTranscriber* native() const { return native_; }

private:
    struct Results;

    TapwellTranscriber* const native_;
    const std::shared_ptr<SpeechGate> enginesGate_;
    const SpeechGates gates_;
    const std::shared_ptr<Results> results_;
};

}  // namespace tapwell
