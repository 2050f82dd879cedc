#pragma once

#include "Platform/Linux/SpeechSession.h"
#include "Platform/MonoResampler.h"
#include "Platform/SpeechRecognitionRequest.h"

#include <memory>
#include <mutex>

namespace tapwell {

/// Brings audio to the rate of the model and hands it to a session.
class LinuxSpeechRecognitionRequest final : public SpeechRecognitionRequest {
public:
    explicit LinuxSpeechRecognitionRequest(std::shared_ptr<SpeechSession> session)
        : session_(std::move(session)) {}

    void append(const PcmBuffer& buffer) override;
    void endAudio() override { session_->endAudio(); }

    const std::shared_ptr<SpeechSession>& session() const { return session_; }

private:
    const std::shared_ptr<SpeechSession> session_;
    std::mutex lock_;
    std::unique_ptr<MonoResampler> resampler_;  ///< guarded by lock_
};

}  // namespace tapwell
