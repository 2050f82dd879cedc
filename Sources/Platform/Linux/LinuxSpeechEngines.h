#pragma once

#include "Platform/Linux/SpeechModels.h"
#include "Platform/Linux/SpeechSessions.h"
#include "Platform/SpeechEngines.h"

namespace tapwell {

/// Recognition on this machine alone: a recognizer (PocketSphinx in one pass) and an analyzer,
/// which has a second and better pass by whisper.cpp with a model of the user's or else by
/// PocketSphinx.
class LinuxSpeechEngines final : public SpeechEngines {
public:
    /// `hasAnalyzer`: whether the machine can afford a second pass. `report` gets log lines, never
    /// after the engines' end.
    LinuxSpeechEngines(SpeechModels models, bool hasAnalyzer, SpeechSession::Report report);
    ~LinuxSpeechEngines() override;

    /// On a machine with one processor the second pass would take it from the recording.
    static bool machineHasAnalyzer();

    bool hasAnalyzer() const override { return hasAnalyzer_; }
    void transcriberSupportsLocale(const std::string& localeIdentifier,
                                   std::function<void(bool supported)> completion) override;
    std::shared_ptr<SpeechTranscriber> makeTranscriber(
        const std::string& localeIdentifier) override;
    std::shared_ptr<SpeechAnalyzer> makeAnalyzer(
        std::shared_ptr<SpeechTranscriber> transcriber) override;
    std::shared_ptr<SpeechRecognizer> makeRecognizer(const std::string& localeIdentifier) override;

private:
    const SpeechModels models_;
    const bool hasAnalyzer_;
    const SpeechSession::Report report_;
    const std::shared_ptr<SpeechSessions> sessions_ = std::make_shared<SpeechSessions>();
};

}  // namespace tapwell
