#pragma once

#include "Platform/MediaTime.h"

#include <functional>
#include <memory>
#include <span>
#include <string>

namespace tapwell {

/// Live recognition of one recording's speech.
class SpeechRecognitionProvider {
public:
    virtual ~SpeechRecognitionProvider() = default;

    /// Name of the type, for log lines.
    virtual std::string typeName() const = 0;

    /// Hands over the next mono samples at the provider's rate. Returns quickly; any thread that is
    /// not real-time.
    virtual void feedPCM(std::span<const float> samples, MediaTime presentationTime) = 0;

    /// Ends recognition; no event is emitted afterwards.
    virtual void stop() = 0;
};

/// Makes the provider for a locale and a sample rate in Hz, or null when there is none. Never
/// throws.
using CreateSpeechProvider = std::function<std::shared_ptr<SpeechRecognitionProvider>(
    const std::string& localeIdentifier, double sampleRate)>;

}  // namespace tapwell
