#pragma once

#include "Platform/Simulated/SimulatedSpeechAnalyzer.h"
#include "Platform/Simulated/SimulatedSpeechRecognizer.h"
#include "Platform/Simulated/SimulatedSpeechTranscriber.h"
#include "Platform/Simulated/VirtualTime.h"
#include "Platform/SpeechEngines.h"

#include <chrono>
#include <memory>
#include <set>
#include <string>

namespace tapwell {

/// Engines that hear nothing: a test says what they know, what fails and what they recognise.
class SimulatedSpeechEngines final : public SpeechEngines {
public:
    explicit SimulatedSpeechEngines(VirtualTime& time) : time_(time) {}

    bool analyzerPresent = true;
    std::set<std::string> transcriberLocales{"en_US"};
    std::set<std::string> recognizerLocales{"en_US"};
    std::chrono::nanoseconds localeCheckTime{0};
    bool localeCheckHangs = false;
    const std::shared_ptr<SimulatedSpeechRecognizer::Script> recognition =
        std::make_shared<SimulatedSpeechRecognizer::Script>();
    const std::shared_ptr<SimulatedSpeechTranscriber::Script> transcription =
        std::make_shared<SimulatedSpeechTranscriber::Script>();
    const std::shared_ptr<SimulatedSpeechAnalyzer::Script> analysis =
        std::make_shared<SimulatedSpeechAnalyzer::Script>();

    bool hasAnalyzer() const override { return analyzerPresent; }
    void transcriberSupportsLocale(const std::string& localeIdentifier,
                                   std::function<void(bool)> completion) override {
        if (localeCheckHangs) return;
        const bool known = transcriberLocales.count(localeIdentifier) > 0;
        time_.schedule(localeCheckTime, [completion, known] { completion(known); });
    }
    std::shared_ptr<SpeechTranscriber> makeTranscriber(const std::string&) override {
        return std::make_shared<SimulatedSpeechTranscriber>(time_, transcription);
    }
    std::shared_ptr<SpeechAnalyzer> makeAnalyzer(std::shared_ptr<SpeechTranscriber>) override {
        return std::make_shared<SimulatedSpeechAnalyzer>(time_, analysis);
    }
    std::shared_ptr<SpeechRecognizer> makeRecognizer(const std::string& localeIdentifier) override {
        if (recognizerLocales.count(localeIdentifier) == 0) return nullptr;
        return std::make_shared<SimulatedSpeechRecognizer>(recognition);
    }

private:
    VirtualTime& time_;
};

}  // namespace tapwell
