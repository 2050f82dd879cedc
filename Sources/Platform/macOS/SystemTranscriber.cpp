#include "Platform/macOS/SystemTranscriber.h"

#include <utility>

namespace tapwell {

/// Shared with the stream of results, which may outlive the transcriber.
struct SystemTranscriber::Results {
    explicit Results(std::shared_ptr<SpeechGate> enginesGate) : gates(std::move(enginesGate)) {}

    const SpeechGates gates;
    std::mutex lock;
    std::function<void(const SpeechResult&)> onResult;    ///< guarded by lock
    std::function<void(const RecorderError&)> onFailure;  ///< guarded by lock

    static std::shared_ptr<Results>& of(void* context) {
        return *static_cast<std::shared_ptr<Results>*>(context);
    }

    static void take(void* context, const char* text, bool isFinal) {
        const std::shared_ptr<Results>& self = of(context);
        self->gates.pass([&] {
            std::function<void(const SpeechResult&)> handler;
            {
                const std::lock_guard hold(self->lock);
                handler = self->onResult;
            }
            if (handler) handler(SpeechResult{text, isFinal});
        });
    }

    static void end(void* context, const char* error) {
        const std::unique_ptr<std::shared_ptr<Results>> owned(&of(context));
        if (error == nullptr) return;
        const std::shared_ptr<Results>& self = *owned;
        self->gates.pass([&] {
            std::function<void(const RecorderError&)> handler;
            {
                const std::lock_guard hold(self->lock);
                handler = self->onFailure;
            }
            if (handler) handler(analyzerError(error));
        });
    }
};

SystemTranscriber::SystemTranscriber(const std::string& localeIdentifier,
                                     std::shared_ptr<SpeechGate> enginesGate)
    : native_(tapwellTranscriberCreate(localeIdentifier.c_str())),
      enginesGate_(std::move(enginesGate)),
      gates_(enginesGate_),
      results_(std::make_shared<Results>(enginesGate_)) {}

SystemTranscriber::~SystemTranscriber() {
    gates_.release();
    closeResults();
    tapwellTranscriberRelease(native_);
}

void SystemTranscriber::modelStatus(std::function<void(SpeechModelStatus)> completion) {
    const auto answer = [completion = std::move(completion)](std::int32_t status) {
        completion(status == 2   ? SpeechModelStatus::installed
                   : status == 1 ? SpeechModelStatus::missing
                                 : SpeechModelStatus::unsupported);
    };
    // Answered also when the transcriber is gone by then.
    tapwellTranscriberStatus(native_,
                             AnalyzerCall<std::int32_t>::make(SpeechGates(enginesGate_), answer),
                             AnalyzerCall<std::int32_t>::answer);
}

void SystemTranscriber::installModel(SpeechCompletion completion) {
    tapwellTranscriberInstall(native_, makeCompletionContext(gates_, std::move(completion)),
                              AnalyzerCall<const char*>::answer);
}

void SystemTranscriber::setResultHandlers(std::function<void(const SpeechResult&)> onResult,
                                          std::function<void(const RecorderError&)> onFailure) {
    const std::lock_guard hold(results_->lock);
    results_->onResult = std::move(onResult);
    results_->onFailure = std::move(onFailure);
}

void SystemTranscriber::readResults() {
    tapwellTranscriberReadResults(native_, new std::shared_ptr<Results>(results_), Results::take,
                                  Results::end);
}

void SystemTranscriber::closeResults() {
    results_->gates.release();
}

}  // namespace tapwell
