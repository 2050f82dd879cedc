#pragma once

#include "Platform/Linux/PocketSphinxModel.h"
#include "Platform/Linux/SpeechSession.h"
#include "Platform/Linux/SpeechSessions.h"
#include "Platform/SpeechRecognizer.h"

#include <memory>

namespace tapwell {

/// PocketSphinx in one pass: a segment is final when its speech ends. Knows no punctuation.
class LinuxSpeechRecognizer final : public SpeechRecognizer {
public:
    LinuxSpeechRecognizer(PocketSphinxModel model, std::shared_ptr<SpeechSessions> sessions,
                          SpeechSession::Report report);

    bool isAvailable() const override { return true; }
    bool supportsOnDeviceRecognition() const override { return true; }
    std::shared_ptr<SpeechRecognitionRequest> makeRequest() override;
    std::shared_ptr<SpeechRecognitionTask> startTask(
        std::shared_ptr<SpeechRecognitionRequest> request, ResultHandler handler) override;

private:
    const PocketSphinxModel model_;
    const std::shared_ptr<SpeechSessions> sessions_;
    const SpeechSession::Report report_;
};

}  // namespace tapwell
