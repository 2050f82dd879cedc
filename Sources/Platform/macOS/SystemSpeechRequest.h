#pragma once

#include "Platform/SpeechRecognitionRequest.h"

#include <memory>

@class SFSpeechAudioBufferRecognitionRequest;

namespace tapwell {

/// A buffer request of the system's recognizer.
class SystemSpeechRequest final : public SpeechRecognitionRequest {
public:
    SystemSpeechRequest();
    ~SystemSpeechRequest() override;
    SystemSpeechRequest(const SystemSpeechRequest&) = delete;
    SystemSpeechRequest& operator=(const SystemSpeechRequest&) = delete;

    void append(const PcmBuffer& buffer) override;
    void endAudio() override;

    /// With the options as they are now.
    SFSpeechAudioBufferRecognitionRequest* native() const;

private:
    struct Core;
    const std::unique_ptr<Core> core_;
};

}  // namespace tapwell
