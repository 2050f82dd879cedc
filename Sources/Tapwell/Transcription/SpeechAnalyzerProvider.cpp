#include "Tapwell/Transcription/SpeechAnalyzerProvider.h"

#include "Platform/MonoPcm.h"
#include "Tapwell/Diagnostics/TextFormat.h"
#include "Tapwell/Transcription/LocaleIdentifier.h"
#include "Tapwell/Transcription/SpeechProviderError.h"

#include <utility>

namespace tapwell {
namespace {

/// Hz of the analyzer's audio when the engine does not tell.
constexpr double kUnknownAnalyzerRate = 16000;

std::string millisecondsText(std::chrono::nanoseconds elapsed) {
    return fixedText(std::chrono::duration<double>(elapsed).count() * 1000, 0) + "ms";
}

}  // namespace

std::shared_ptr<SpeechAnalyzerProvider> SpeechAnalyzerProvider::create(
    const SpeechProviderServices& services, const std::string& localeIdentifier, double sampleRate,
    std::shared_ptr<const SpeakerAttributor> speakerAttributor) {
    const std::shared_ptr<SpeechAnalyzerProvider> provider(new SpeechAnalyzerProvider(
        services, localeIdentifier, sampleRate, std::move(speakerAttributor)));
    provider->log_.line("SpeechAnalyzerProvider init queued for locale=" + localeIdentifier);
    provider->then (&SpeechAnalyzerProvider::setUp)();
    return provider;
}

SpeechAnalyzerProvider::SpeechAnalyzerProvider(
    const SpeechProviderServices& services, const std::string& localeIdentifier, double sampleRate,
    std::shared_ptr<const SpeakerAttributor> speakerAttributor)
    : engines_(services.engines),
      converters_(services.converters),
      clock_(services.clock),
      defaults_(services.defaults),
      log_(services.streams, "mic-debug"),
      events_(services.streams),
      localeIdentifier_(localeIdentifier),
      sampleRate_(sampleRate),
      speakerAttributor_(std::move(speakerAttributor)),
      setupStartTime_(services.clock.now()),
      setupQueue_(services.queues.makeSerialQueue("Tapwell.SpeechAnalyzerProvider.Setup",
                                                  QualityOfService::utility)) {}

template <typename... Arguments>
std::function<void(Arguments...)> SpeechAnalyzerProvider::then(
    void (SpeechAnalyzerProvider::*step)(Arguments...)) {
    return [weak = weak_from_this(), step](Arguments... arguments) {
        const auto self = weak.lock();
        if (!self) return;
        self->setupQueue_->async([weak, step, arguments...] {
            const auto provider = weak.lock();
            if (provider && !provider->isStopped()) (provider.get()->*step)(arguments...);
        });
    };
}

SpeechCompletion SpeechAnalyzerProvider::thenWithError(
    void (SpeechAnalyzerProvider::*step)(std::optional<RecorderError>)) {
    return [continuation = then(step)](const RecorderError* error) {
        continuation(error ? std::optional(*error) : std::nullopt);
    };
}

bool SpeechAnalyzerProvider::isStopped() const {
    const std::lock_guard hold(lock_);
    return stopped_;
}

std::string SpeechAnalyzerProvider::takePhaseMilliseconds() {
    const Clock::Date now = clock_.now();
    return millisecondsText(now - std::exchange(phaseStartTime_, now));
}

void SpeechAnalyzerProvider::setUp() {
    phaseStartTime_ = clock_.now();
    engines_.transcriberSupportsLocale(localeIdentifier_,
                                       then(&SpeechAnalyzerProvider::localeChecked));
}

void SpeechAnalyzerProvider::localeChecked(bool supported) {
    if (!supported) {
        log_.line("SpeechAnalyzer: locale " + localeIdentifier_ + " not supported");
        setUpFailed(SpeechProviderError(SpeechProviderError::Case::localeNotSupported).what());
        return;
    }
    log_.line("SpeechAnalyzer locale check: " + takePhaseMilliseconds());
    transcriber_ = engines_.makeTranscriber(localeIdentifier_);
    analyzer_ = engines_.makeAnalyzer(transcriber_);
    analyzer_->bestAvailableAudioFormat(then(&SpeechAnalyzerProvider::formatChosen));
}

void SpeechAnalyzerProvider::formatChosen(std::optional<AudioFormat> format) {
    analyzerFormat_ =
        format ? format
               : AudioFormat::make(CommonFormat::pcmFloat32, kUnknownAnalyzerRate, 1, false);
    log_.line("SpeechAnalyzer init+format: " + takePhaseMilliseconds());
    if (defaults_.boolForKey(modelKey())) {
        log_.line("SpeechAnalyzer model check skipped (cached): 0ms");
        startAnalyzer();
        return;
    }
    transcriber_->modelStatus(then(&SpeechAnalyzerProvider::ensureModelInstalled));
}

std::string SpeechAnalyzerProvider::modelKey() const {
    return "SpeechAnalyzer_ModelInstalled_" + bcp47Identifier(localeIdentifier_);
}

void SpeechAnalyzerProvider::ensureModelInstalled(SpeechModelStatus status) {
    if (status == SpeechModelStatus::installed) {
        modelChecked();
    } else if (status == SpeechModelStatus::unsupported) {
        setUpFailed(SpeechProviderError(SpeechProviderError::Case::modelNotAvailable).what());
    } else {
        log_.line("SpeechAnalyzer model not installed for " + localeIdentifier_ +
                  " — requesting download");
        transcriber_->installModel(thenWithError(&SpeechAnalyzerProvider::modelInstalled));
    }
}

void SpeechAnalyzerProvider::modelInstalled(std::optional<RecorderError> error) {
    if (error) {
        setUpFailed(error->description());
        return;
    }
    log_.line("SpeechAnalyzer model download complete for " + localeIdentifier_);
    modelChecked();
}

void SpeechAnalyzerProvider::modelChecked() {
    defaults_.setBool(true, modelKey());
    log_.line("SpeechAnalyzer model check (cold): " + takePhaseMilliseconds());
    startAnalyzer();
}

void SpeechAnalyzerProvider::startAnalyzer() {
    phaseStartTime_ = clock_.now();
    transcriber_->setResultHandlers(
        [weak = weak_from_this()](const SpeechResult& result) {
            if (const auto self = weak.lock()) self->handleResult(result);
        },
        [weak = weak_from_this()](const RecorderError& error) {
            if (const auto self = weak.lock())
                self->log_.line("SpeechAnalyzer results stream error: " + error.description());
        });
    analyzer_->start(thenWithError(&SpeechAnalyzerProvider::analyzerStarted));
}

void SpeechAnalyzerProvider::analyzerStarted(std::optional<RecorderError> error) {
    if (error) {
        // The remembered model may be gone: the next run looks again.
        defaults_.setBool(false, modelKey());
        setUpFailed(error->description());
        return;
    }
    log_.line("SpeechAnalyzer start: " + takePhaseMilliseconds());
    std::size_t pendingCount = 0;
    {
        const std::lock_guard hold(lock_);
        inputBuilder_ = analyzer_->input();
        pendingCount = pendingBuffers_.size();
    }
    log_.line("SpeechAnalyzerProvider ready in " +
              millisecondsText(clock_.now() - setupStartTime_) + ", flushing " +
              std::to_string(pendingCount) + " pending buffers");
    flushPendingBuffers();
}

void SpeechAnalyzerProvider::setUpFailed(const std::string& error) {
    log_.line("SpeechAnalyzerProvider async setup failed: " + error);
}

/// Audio that is fed meanwhile queues up behind, so the order stays.
void SpeechAnalyzerProvider::flushPendingBuffers() {
    const auto inputBuilder = analyzer_->input();
    while (const auto pending = takePendingOrBecomeReady())
        pushToAnalyzer(pending->samples, *inputBuilder);
}

std::optional<SpeechAnalyzerProvider::PendingBuffer>
SpeechAnalyzerProvider::takePendingOrBecomeReady() {
    const std::lock_guard hold(lock_);
    if (stopped_) return std::nullopt;
    if (pendingBuffers_.empty()) {
        ready_ = true;
        return std::nullopt;
    }
    std::optional<PendingBuffer> next = std::move(pendingBuffers_.front());
    pendingBuffers_.pop_front();
    pendingSampleCount_ -= next->samples.size();
    return next;
}

void SpeechAnalyzerProvider::feedPCM(std::span<const float> samples, MediaTime presentationTime) {
    std::shared_ptr<SpeechAnalyzerInput> inputBuilder;
    {
        const std::lock_guard hold(lock_);
        if (stopped_) return;
        if (!ready_ || !inputBuilder_) {
            bufferPending(samples, presentationTime);
            return;
        }
        inputBuilder = inputBuilder_;
    }
    pushToAnalyzer(samples, *inputBuilder);
}

void SpeechAnalyzerProvider::bufferPending(std::span<const float> samples,
                                           MediaTime presentationTime) {
    const std::size_t count = pendingSampleCount_ + samples.size();
    if (static_cast<double>(count) > sampleRate_ * maximumPendingSeconds) return;
    pendingBuffers_.push_back({{samples.begin(), samples.end()}, presentationTime});
    pendingSampleCount_ = count;
}

void SpeechAnalyzerProvider::pushToAnalyzer(std::span<const float> samples,
                                            SpeechAnalyzerInput& inputBuilder) {
    const auto buffer = monoFloatBuffer(samples, sampleRate_);
    if (!buffer || !analyzerFormat_) return;
    if (buffer->format() == *analyzerFormat_) {
        inputBuilder.yield(*buffer);
        return;
    }
    if (!resampler_)
        resampler_ = MonoResampler::make(converters_, buffer->format(), *analyzerFormat_);
    if (!resampler_) return;
    if (const auto resampled = resampler_->convert(*buffer)) inputBuilder.yield(*resampled);
}

void SpeechAnalyzerProvider::handleResult(const SpeechResult& result) {
    const std::lock_guard hold(emission_);
    if (!emitsResults_) return;
    lastVolatileText_ = result.isFinal ? "" : result.text;
    emitTranscript(result.text, result.isFinal);
}

void SpeechAnalyzerProvider::emitTranscript(const std::string& text, bool isFinal) const {
    TranscriptEvent event{text, isFinal, std::nullopt};
    if (speakerAttributor_) event.speaker = speakerAttributor_->currentSpeaker();
    events_.emitEvent(event);
}

void SpeechAnalyzerProvider::stop() {
    std::shared_ptr<SpeechAnalyzerInput> inputBuilder;
    {
        const std::lock_guard hold(lock_);
        if (std::exchange(stopped_, true)) return;
        ready_ = false;
        inputBuilder = std::exchange(inputBuilder_, nullptr);
        pendingBuffers_.clear();
        pendingSampleCount_ = 0;
    }
    if (inputBuilder) inputBuilder->finish();
    flushVolatileText();
    // Only a started analyzer has an input, and set-up leaves both alone from then on.
    if (inputBuilder)
        setupQueue_->async([transcriber = transcriber_, analyzer = analyzer_, log = log_] {
            finalize(transcriber, analyzer, log);
        });
    log_.line("SpeechAnalyzerProvider stopped");
}

void SpeechAnalyzerProvider::flushVolatileText() {
    const std::lock_guard hold(emission_);
    emitsResults_ = false;
    if (lastVolatileText_.empty()) return;
    emitTranscript(std::exchange(lastVolatileText_, ""), true);
}

/// Nobody hears the results any more, so the engine need not work for them. The analyzer lives
/// until it has come to its end.
void SpeechAnalyzerProvider::finalize(const std::shared_ptr<SpeechTranscriber>& transcriber,
                                      const std::shared_ptr<SpeechAnalyzer>& analyzer,
                                      const Log& log) {
    transcriber->setResultHandlers(nullptr, nullptr);
    analyzer->finalizeAndFinishThroughEndOfInput(
        [log, transcriber, analyzer](const RecorderError* error) {
            if (error) log.line("SpeechAnalyzer finalize failed: " + error->description());
        });
}

}  // namespace tapwell
