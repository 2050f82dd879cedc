#include "Tapwell/Transcription/SFSpeechProvider.h"

#include "Platform/MonoPcm.h"
#include "Tapwell/Diagnostics/TextFormat.h"
#include "Tapwell/Transcription/SpeechProviderError.h"

#include <utility>

namespace tapwell {

std::shared_ptr<SFSpeechProvider> SFSpeechProvider::create(
    const SpeechProviderServices& services, const std::string& localeIdentifier, double sampleRate,
    std::shared_ptr<const SpeakerAttributor> speakerAttributor) {
    auto recognizer = services.engines.makeRecognizer(localeIdentifier);
    if (!recognizer) throw SpeechProviderError(SpeechProviderError::Case::localeNotSupported);
    const std::shared_ptr<SFSpeechProvider> provider(new SFSpeechProvider(
        services, std::move(recognizer), sampleRate, std::move(speakerAttributor)));
    provider->startRecognitionRequest();
    provider->log_.line("SFSpeechProvider initialized: locale=" + localeIdentifier +
                        " onDevice=" + boolText(provider->isOnDevice_));
    return provider;
}

SFSpeechProvider::SFSpeechProvider(const SpeechProviderServices& services,
                                   std::shared_ptr<SpeechRecognizer> recognizer, double sampleRate,
                                   std::shared_ptr<const SpeakerAttributor> speakerAttributor)
    : clock_(services.clock),
      log_(services.streams, "mic-debug"),
      events_(services.streams),
      recognizer_(std::move(recognizer)),
      sampleRate_(sampleRate),
      isOnDevice_(recognizer_->supportsOnDeviceRecognition()),
      speakerAttributor_(std::move(speakerAttributor)) {}

void SFSpeechProvider::startRecognitionRequest() {
    const auto request = recognizer_->makeRequest();
    request->shouldReportPartialResults = true;
    request->addsPunctuation = true;
    if (isOnDevice_) request->requiresOnDeviceRecognition = true;
    std::uint64_t number = 0;
    {
        const std::lock_guard hold(emission_);
        number = requestNumber_;
    }
    const std::lock_guard hold(lock_);
    if (stopped_) return;
    request_ = request;
    feedStartTime_ = clock_.now();
    recognitionTask_ = recognizer_->startTask(
        request,
        [weak = weak_from_this(), number](const SpeechResult* result, const RecorderError* error) {
            const auto self = weak.lock();
            if (!self) return;
            if (result) self->handleResult(number, *result);
            if (error) self->log_.line("SFSpeechRecognizer error: " + error->description());
        });
}

void SFSpeechProvider::handleResult(std::uint64_t requestNumber, const SpeechResult& result) {
    const std::lock_guard hold(emission_);
    if (requestNumber != requestNumber_) return;
    lastPartialText_ = result.isFinal ? "" : result.text;
    emitTranscript(result.text, result.isFinal);
}

void SFSpeechProvider::feedPCM(std::span<const float> samples, MediaTime) {
    if (hasReachedServerModeLimit()) restartForServerModeLimit();
    std::shared_ptr<SpeechRecognitionRequest> request;
    {
        const std::lock_guard hold(lock_);
        request = request_;
    }
    if (!request) return;
    if (const auto buffer = monoFloatBuffer(samples, sampleRate_)) request->append(*buffer);
}

bool SFSpeechProvider::hasReachedServerModeLimit() const {
    const std::lock_guard hold(lock_);
    return request_ && !isOnDevice_ && feedStartTime_ &&
           clock_.now() - *feedStartTime_ > std::chrono::duration<double>(serverModeRestartSeconds);
}

void SFSpeechProvider::restartForServerModeLimit() {
    flush();
    log_.line("SFSpeechProvider restarting recognition (server-mode 1-min limit)");
    startRecognitionRequest();
}

/// Ends the request; what it had understood becomes final, and what it still says is not heard.
void SFSpeechProvider::flush() {
    std::shared_ptr<SpeechRecognitionRequest> request;
    std::shared_ptr<SpeechRecognitionTask> task;
    {
        const std::lock_guard hold(lock_);
        request = std::exchange(request_, nullptr);
        task = std::exchange(recognitionTask_, nullptr);
    }
    if (request) request->endAudio();
    if (task) task->finish();
    const std::lock_guard hold(emission_);
    ++requestNumber_;
    if (lastPartialText_.empty()) return;
    emitTranscript(std::exchange(lastPartialText_, ""), true);
}

void SFSpeechProvider::stop() {
    {
        const std::lock_guard hold(lock_);
        if (std::exchange(stopped_, true)) return;
    }
    flush();
    log_.line("SFSpeechProvider stopped");
}

void SFSpeechProvider::emitTranscript(const std::string& text, bool isFinal) const {
    TranscriptEvent event{text, isFinal, std::nullopt};
    if (speakerAttributor_) event.speaker = speakerAttributor_->currentSpeaker();
    events_.emitEvent(event);
}

}  // namespace tapwell
