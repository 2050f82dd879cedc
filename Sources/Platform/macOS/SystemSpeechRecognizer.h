#pragma once

#include "Platform/SpeechRecognizer.h"
#include "Platform/macOS/SpeechGate.h"

#include <memory>
#include <string>

namespace tapwell {

/// The system's recognizer, whose results come on a queue of its own, not on the main queue: nobody
/// runs a loop there. The first task asks the user for leave and begins when there is an answer;
/// its request collects the audio until then.
class SystemSpeechRecognizer final : public SpeechRecognizer {
public:
    /// Null when the system has no recognizer for the locale. Once `enginesGate` is closed, no
    /// handler begins.
    static std::shared_ptr<SystemSpeechRecognizer> make(const std::string& localeIdentifier,
                                                        std::shared_ptr<SpeechGate> enginesGate);
    ~SystemSpeechRecognizer() override;
    SystemSpeechRecognizer(const SystemSpeechRecognizer&) = delete;
    SystemSpeechRecognizer& operator=(const SystemSpeechRecognizer&) = delete;

    bool isAvailable() const override;
    bool supportsOnDeviceRecognition() const override;
    std::shared_ptr<SpeechRecognitionRequest> makeRequest() override;
    std::shared_ptr<SpeechRecognitionTask> startTask(
        std::shared_ptr<SpeechRecognitionRequest> request, ResultHandler handler) override;

private:
    struct Core;
    explicit SystemSpeechRecognizer(std::unique_ptr<Core> core);

    const std::unique_ptr<Core> core_;
};

}  // namespace tapwell
