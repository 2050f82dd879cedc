#include "Platform/Linux/LinuxSpeechEngines.h"

#include "Platform/Linux/LinuxSpeechAnalyzer.h"
#include "Platform/Linux/LinuxSpeechRecognizer.h"
#include "Platform/Linux/LinuxSpeechTranscriber.h"

#include <thread>
#include <utility>

namespace tapwell {

LinuxSpeechEngines::LinuxSpeechEngines(SpeechModels models, bool hasAnalyzer,
                                       SpeechSession::Report report)
    : models_(std::move(models)), hasAnalyzer_(hasAnalyzer), report_(std::move(report)) {}

LinuxSpeechEngines::~LinuxSpeechEngines() {
    sessions_->cancelAll();
}

bool LinuxSpeechEngines::machineHasAnalyzer() {
    return std::thread::hardware_concurrency() >= 2;
}

void LinuxSpeechEngines::transcriberSupportsLocale(const std::string& localeIdentifier,
                                                   std::function<void(bool)> completion) {
    completion(models_.knows(localeIdentifier));
}

std::shared_ptr<SpeechTranscriber> LinuxSpeechEngines::makeTranscriber(
    const std::string& localeIdentifier) {
    return std::make_shared<LinuxSpeechTranscriber>(models_, localeIdentifier, sessions_->make(),
                                                    report_);
}

std::shared_ptr<SpeechAnalyzer> LinuxSpeechEngines::makeAnalyzer(
    std::shared_ptr<SpeechTranscriber> transcriber) {
    return std::make_shared<LinuxSpeechAnalyzer>(
        std::dynamic_pointer_cast<LinuxSpeechTranscriber>(transcriber));
}

std::shared_ptr<SpeechRecognizer> LinuxSpeechEngines::makeRecognizer(
    const std::string& localeIdentifier) {
    const auto model = models_.findPocketSphinx(localeIdentifier);
    if (!model) return nullptr;
    return std::make_shared<LinuxSpeechRecognizer>(*model, sessions_, report_);
}

}  // namespace tapwell
