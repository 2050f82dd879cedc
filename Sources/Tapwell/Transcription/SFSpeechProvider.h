#pragma once

#include "Platform/Clock.h"
#include "Platform/SpeechRecognizer.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/Protocol/EventEmitter.h"
#include "Tapwell/Transcription/SpeakerAttributor.h"
#include "Tapwell/Transcription/SpeechProviderServices.h"
#include "Tapwell/Transcription/SpeechRecognitionProvider.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tapwell {

/// Live transcription with a recognizer that is fed by requests. A recognizer that needs a server
/// gets a new request before the server's one-minute limit; what was understood by then becomes
/// final.
class SFSpeechProvider final : public SpeechRecognitionProvider,
                               public std::enable_shared_from_this<SFSpeechProvider> {
public:
    /// Seconds after which a request to a server is replaced: ten less than the server allows.
    static constexpr double serverModeRestartSeconds = 50.0;

    /// Starts the first request. `sampleRate`: Hz of the samples to be fed. `speakerAttributor`
    /// labels the transcripts; may be null. Throws SpeechProviderError when there is no recognizer
    /// for the locale.
    static std::shared_ptr<SFSpeechProvider> create(
        const SpeechProviderServices& services, const std::string& localeIdentifier,
        double sampleRate, std::shared_ptr<const SpeakerAttributor> speakerAttributor);

    std::string typeName() const override { return "SFSpeechProvider"; }
    void feedPCM(std::span<const float> samples, MediaTime presentationTime) override;
    void stop() override;

private:
    SFSpeechProvider(const SpeechProviderServices& services,
                     std::shared_ptr<SpeechRecognizer> recognizer, double sampleRate,
                     std::shared_ptr<const SpeakerAttributor> speakerAttributor);

    void startRecognitionRequest();
    void restartForServerModeLimit();
    bool hasReachedServerModeLimit() const;
    void flush();
    void handleResult(std::uint64_t requestNumber, const SpeechResult& result);
    void emitTranscript(const std::string& text, bool isFinal) const;

    const Clock& clock_;
    const Log log_;
    const EventEmitter events_;
    const std::shared_ptr<SpeechRecognizer> recognizer_;
    const double sampleRate_;
    const bool isOnDevice_;
    const std::shared_ptr<const SpeakerAttributor> speakerAttributor_;

    mutable std::mutex lock_;
    // Guarded by lock_.
    std::shared_ptr<SpeechRecognitionRequest> request_;
    std::shared_ptr<SpeechRecognitionTask> recognitionTask_;
    std::optional<Clock::Date> feedStartTime_;
    bool stopped_ = false;

    /// Held while a transcript is written, so that a flush and a result exclude each other. Feeding
    /// does not take it, except to replace a request.
    std::mutex emission_;
    // Guarded by emission_.
    std::string lastPartialText_;
    std::uint64_t requestNumber_ = 0;  ///< results of earlier requests are not emitted
};

}  // namespace tapwell
