#include "Platform/macOS/SystemSpeechEngines.h"

#include "Platform/macOS/SystemAnalyzer.h"
#include "Platform/macOS/SystemSpeechRecognizer.h"
#include "Platform/macOS/SystemTranscriber.h"

#include <utility>

namespace tapwell {

bool SystemSpeechEngines::hasAnalyzer() const {
    return tapwellAnalyzerIsAvailable();
}

void SystemSpeechEngines::transcriberSupportsLocale(const std::string& localeIdentifier,
                                                    std::function<void(bool)> completion) {
    tapwellAnalyzerSupportsLocale(
        localeIdentifier.c_str(),
        AnalyzerCall<bool>::make(SpeechGates(gate_), std::move(completion)),
        AnalyzerCall<bool>::answer);
}

std::shared_ptr<SpeechTranscriber> SystemSpeechEngines::makeTranscriber(
    const std::string& localeIdentifier) {
    return std::make_shared<SystemTranscriber>(localeIdentifier, gate_);
}

std::shared_ptr<SpeechAnalyzer> SystemSpeechEngines::makeAnalyzer(
    std::shared_ptr<SpeechTranscriber> transcriber) {
    return std::make_shared<SystemAnalyzer>(
        std::dynamic_pointer_cast<SystemTranscriber>(std::move(transcriber)), gate_, report_);
}

std::shared_ptr<SpeechRecognizer> SystemSpeechEngines::makeRecognizer(
    const std::string& localeIdentifier) {
    return SystemSpeechRecognizer::make(localeIdentifier, gate_);
}

}  // namespace tapwell
