#pragma once

#include "Tapwell/Transcription/SpeakerAttributor.h"
#include "Tapwell/Transcription/SpeechProviderServices.h"
#include "Tapwell/Transcription/SpeechRecognitionProvider.h"

#include <chrono>
#include <memory>
#include <string>

namespace tapwell {

/// How long the choice of a provider waits for the analyzer's answer about a locale. An engine that
/// does not answer must not hang the start of a recording.
inline constexpr std::chrono::seconds kLocaleCheckTimeout{2};

/// The provider for a locale: the analyzer's where the system has one that knows the locale, else
/// the recognizer's, else null. Blocks the calling thread for at most `kLocaleCheckTimeout`. Never
/// throws. `sampleRate`: Hz of the samples to be fed. `speakerAttributor` may be null.
std::shared_ptr<SpeechRecognitionProvider> createSpeechProvider(
    const SpeechProviderServices& services, const std::string& localeIdentifier, double sampleRate,
    std::shared_ptr<const SpeakerAttributor> speakerAttributor);

}  // namespace tapwell
