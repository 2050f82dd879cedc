#pragma once

#include "Platform/SpeechAnalyzer.h"
#include "Platform/SpeechRecognizer.h"
#include "Platform/SpeechTranscriber.h"

#include <functional>
#include <memory>
#include <string>

namespace tapwell {

/// The speech recognition of one host: a recognizer, and on newer systems an analyzer. Any thread.
/// Locales are identifiers such as "en_US".
///
/// What the engines hand out may be released anywhere, also within one of its own callbacks. When
/// the engines themselves are gone, no callback runs any more.
class SpeechEngines {
public:
    virtual ~SpeechEngines() = default;

    /// Whether the system is one that has the analyzer.
    virtual bool hasAnalyzer() const = 0;

    /// Asks whether the analyzer's transcriber knows the locale; only where there is an analyzer.
    /// Returns at once. Calls `completion` at most once, on any thread or from within the call; an
    /// engine that hangs never does.
    virtual void transcriberSupportsLocale(const std::string& localeIdentifier,
                                           std::function<void(bool supported)> completion) = 0;

    /// Only where there is an analyzer. Cheap: loads no model. Not null.
    virtual std::shared_ptr<SpeechTranscriber> makeTranscriber(
        const std::string& localeIdentifier) = 0;

    /// An analyzer of a transcriber of these engines, one for each. Not null.
    virtual std::shared_ptr<SpeechAnalyzer> makeAnalyzer(
        std::shared_ptr<SpeechTranscriber> transcriber) = 0;

    /// Null when there is no recognizer for the locale.
    virtual std::shared_ptr<SpeechRecognizer> makeRecognizer(
        const std::string& localeIdentifier) = 0;
};

}  // namespace tapwell
