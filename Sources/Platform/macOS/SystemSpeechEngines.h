#pragma once

#include "Platform/SpeechEngines.h"
#include "Platform/macOS/SpeechGate.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace tapwell {

/// The system's speech recognition.
class SystemSpeechEngines final : public SpeechEngines {
public:
    using Report = std::function<void(const std::string& message)>;

    /// `report` gets log lines, on threads that yield audio to an analyzer, and outlives them.
    explicit SystemSpeechEngines(Report report) : report_(std::move(report)) {}
    ~SystemSpeechEngines() override { gate_->close(); }
    SystemSpeechEngines(const SystemSpeechEngines&) = delete;
    SystemSpeechEngines& operator=(const SystemSpeechEngines&) = delete;

    bool hasAnalyzer() const override;
    void transcriberSupportsLocale(const std::string& localeIdentifier,
                                   std::function<void(bool supported)> completion) override;
    std::shared_ptr<SpeechTranscriber> makeTranscriber(
        const std::string& localeIdentifier) override;
    std::shared_ptr<SpeechAnalyzer> makeAnalyzer(
        std::shared_ptr<SpeechTranscriber> transcriber) override;
    std::shared_ptr<SpeechRecognizer> makeRecognizer(const std::string& localeIdentifier) override;

private:
    const Report report_;
    const std::shared_ptr<SpeechGate> gate_ = std::make_shared<SpeechGate>();
};

}  // namespace tapwell
