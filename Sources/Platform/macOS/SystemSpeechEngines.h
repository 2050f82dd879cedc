#pragma once

#include "Platform/SpeechEngines.h"
#include "Platform/macOS/SpeechGate.h"

#include <memory>

namespace tapwell {

/// The system's speech recognition.
class SystemSpeechEngines final : public SpeechEngines {
public:
    SystemSpeechEngines() = default;
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
    const std::shared_ptr<SpeechGate> gate_ = std::make_shared<SpeechGate>();
};

}  // namespace tapwell
