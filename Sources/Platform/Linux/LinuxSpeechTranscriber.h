#pragma once

#include "Platform/Linux/SpeechModels.h"
#include "Platform/Linux/SpeechSession.h"
#include "Platform/SpeechTranscriber.h"

#include <memory>
#include <mutex>
#include <string>

namespace tapwell {

/// Transcription in two passes. Models are there or not: none is fetched, since nothing here talks
/// to a network.
class LinuxSpeechTranscriber final : public SpeechTranscriber {
public:
    LinuxSpeechTranscriber(SpeechModels models, std::string localeIdentifier,
                           std::shared_ptr<SpeechSession> session, SpeechSession::Report report);

    void modelStatus(std::function<void(SpeechModelStatus)> completion) override;
    /// Always fails.
    void installModel(SpeechCompletion completion) override;
    void setResultHandlers(std::function<void(const SpeechResult&)> onResult,
                           std::function<void(const RecorderError&)> onFailure) override;

    const std::shared_ptr<SpeechSession>& session() const { return session_; }
    /// Starts the session. For the analyzer.
    void start(SpeechCompletion onStarted, std::function<void()> onFinished);

private:
    const SpeechModels models_;
    const std::string localeIdentifier_;
    const std::shared_ptr<SpeechSession> session_;
    const SpeechSession::Report report_;
    std::mutex lock_;
    std::function<void(const SpeechResult&)> onResult_;  ///< guarded by lock_
};

}  // namespace tapwell
