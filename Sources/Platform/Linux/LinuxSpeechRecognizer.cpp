#include "Platform/Linux/LinuxSpeechRecognizer.h"

#include "Platform/Linux/LinuxSpeechRecognitionRequest.h"
#include "Platform/Linux/PocketSphinxLiveRecognizer.h"

#include <utility>

namespace tapwell {
namespace {

struct SessionTask final : SpeechRecognitionTask {
    explicit SessionTask(std::shared_ptr<SpeechSession> taskSession)
        : session(std::move(taskSession)) {}
    ~SessionTask() override { session->cancel(); }
    void finish() override { session->endAudio(); }
    const std::shared_ptr<SpeechSession> session;
};

}  // namespace

LinuxSpeechRecognizer::LinuxSpeechRecognizer(PocketSphinxModel model,
                                             std::shared_ptr<SpeechSessions> sessions,
                                             SpeechSession::Report report)
    : model_(std::move(model)), sessions_(std::move(sessions)), report_(std::move(report)) {}

std::shared_ptr<SpeechRecognitionRequest> LinuxSpeechRecognizer::makeRequest() {
    return std::make_shared<LinuxSpeechRecognitionRequest>(sessions_->make());
}

std::shared_ptr<SpeechRecognitionTask> LinuxSpeechRecognizer::startTask(
    std::shared_ptr<SpeechRecognitionRequest> request, ResultHandler handler) {
    const auto session =
        std::dynamic_pointer_cast<LinuxSpeechRecognitionRequest>(request)->session();
    SpeechSession::Callbacks callbacks;
    callbacks.onStarted = [handler](const RecorderError* error) {
        if (error) handler(nullptr, error);
    };
    callbacks.onResult =
        [handler, partials = request->shouldReportPartialResults](const SpeechResult& result) {
            if (partials || result.isFinal) handler(&result, nullptr);
        };
    callbacks.report = report_;
    auto task = std::make_shared<SessionTask>(session);
    session->start(
        [model = model_](const SpeechSession::Report&) {
            return SpeechSession::Engines{std::make_unique<PocketSphinxLiveRecognizer>(model),
                                          nullptr};
        },
        std::move(callbacks));
    return task;
}

}  // namespace tapwell
