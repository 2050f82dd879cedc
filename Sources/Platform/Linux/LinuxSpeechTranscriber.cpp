#include "Platform/Linux/LinuxSpeechTranscriber.h"

#include "Platform/Linux/PauseDetector.h"
#include "Platform/Linux/PocketSphinxLiveRecognizer.h"
#include "Platform/Linux/PocketSphinxSegmentRecognizer.h"
#include "Platform/Linux/WhisperSegmentRecognizer.h"

#include <utility>

namespace tapwell {
namespace {

RecorderError noModelError(const std::string& localeIdentifier) {
    return RecorderError("Speech", 1, "there is no speech model for " + localeIdentifier);
}

/// The user's model, or what is wrong with it in a log line and null.
std::shared_ptr<SegmentRecognizer> loadUsersModel(const SpeechModels& models,
                                                  const std::string& localeIdentifier,
                                                  const SpeechSession::Report& report) {
    const auto file = models.findGgml(localeIdentifier);
    if (!file) return nullptr;
    try {
        std::shared_ptr<SegmentRecognizer> recognizer =
            WhisperSegmentRecognizer::load(*file, SpeechModels::language(localeIdentifier));
        report("speech model " + file->string() + " loaded");
        return recognizer;
    } catch (const RecorderError& error) {
        report(error.description() + (models.findPocketSphinx(localeIdentifier)
                                          ? "; PocketSphinx takes its place"
                                          : "; nothing takes its place"));
        return nullptr;
    }
}

SpeechSession::Engines loadEngines(const SpeechModels& models, const std::string& localeIdentifier,
                                   const SpeechSession::Report& report) {
    if (auto recognizer = loadUsersModel(models, localeIdentifier, report)) {
        return {std::make_unique<PauseDetector>(), [recognizer] { return recognizer; }};
    }
    const auto model = models.findPocketSphinx(localeIdentifier);
    if (!model) throw noModelError(localeIdentifier);
    return {std::make_unique<PocketSphinxLiveRecognizer>(*model),
            [model] { return std::make_shared<PocketSphinxSegmentRecognizer>(*model); }};
}

}  // namespace

LinuxSpeechTranscriber::LinuxSpeechTranscriber(SpeechModels models, std::string localeIdentifier,
                                               std::shared_ptr<SpeechSession> session,
                                               SpeechSession::Report report)
    : models_(std::move(models)),
      localeIdentifier_(std::move(localeIdentifier)),
      session_(std::move(session)),
      report_(std::move(report)) {}

void LinuxSpeechTranscriber::modelStatus(std::function<void(SpeechModelStatus)> completion) {
    completion(models_.knows(localeIdentifier_) ? SpeechModelStatus::installed
                                                : SpeechModelStatus::unsupported);
}

void LinuxSpeechTranscriber::installModel(SpeechCompletion completion) {
    const RecorderError error = noModelError(localeIdentifier_);
    completion(&error);
}

void LinuxSpeechTranscriber::setResultHandlers(std::function<void(const SpeechResult&)> onResult,
                                               std::function<void(const RecorderError&)>) {
    if (!onResult) session_->dropResults();
    const std::lock_guard hold(lock_);
    onResult_ = std::move(onResult);
}

void LinuxSpeechTranscriber::start(SpeechCompletion onStarted, std::function<void()> onFinished) {
    SpeechSession::Callbacks callbacks;
    {
        const std::lock_guard hold(lock_);
        callbacks.onResult = onResult_;
    }
    callbacks.onStarted = std::move(onStarted);
    callbacks.onFinished = std::move(onFinished);
    callbacks.report = report_;
    session_->start(
        [models = models_, locale = localeIdentifier_](const SpeechSession::Report& report) {
            return loadEngines(models, locale, report);
        },
        std::move(callbacks));
}

}  // namespace tapwell
