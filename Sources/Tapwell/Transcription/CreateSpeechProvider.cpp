#include "Tapwell/Transcription/CreateSpeechProvider.h"

#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/Transcription/SFSpeechProvider.h"
#include "Tapwell/Transcription/SpeechAnalyzerProvider.h"

#include <atomic>
#include <exception>

namespace tapwell {
namespace {

bool analyzerSupportsLocale(const SpeechProviderServices& services,
                            const std::string& localeIdentifier, const Log& log) {
    if (!services.engines.hasAnalyzer()) return false;
    // Shared with an answer that may come after the wait has ended.
    struct Answer {
        std::shared_ptr<Semaphore> given;
        std::atomic<bool> supported{false};
    };
    const auto answer = std::make_shared<Answer>();
    answer->given = services.queues.makeSemaphore();
    services.engines.transcriberSupportsLocale(localeIdentifier, [answer](bool supported) {
        answer->supported = supported;
        answer->given->signal();
    });
    if (answer->given->wait(kLocaleCheckTimeout)) return answer->supported;
    log.line("STT: no answer from SpeechAnalyzer about locale=" + localeIdentifier + " within " +
             std::to_string(kLocaleCheckTimeout.count()) + " s, trying SFSpeechRecognizer");
    return false;
}

std::shared_ptr<SpeechRecognitionProvider> makeProvider(
    const SpeechProviderServices& services, const std::string& localeIdentifier, double sampleRate,
    std::shared_ptr<const SpeakerAttributor> speakerAttributor, const Log& log) {
    if (analyzerSupportsLocale(services, localeIdentifier, log))
        return SpeechAnalyzerProvider::create(services, localeIdentifier, sampleRate,
                                              std::move(speakerAttributor));
    const auto recognizer = services.engines.makeRecognizer(localeIdentifier);
    if (!recognizer || !recognizer->isAvailable()) return nullptr;
    return SFSpeechProvider::create(services, localeIdentifier, sampleRate,
                                    std::move(speakerAttributor));
}

}  // namespace

std::shared_ptr<SpeechRecognitionProvider> createSpeechProvider(
    const SpeechProviderServices& services, const std::string& localeIdentifier, double sampleRate,
    std::shared_ptr<const SpeakerAttributor> speakerAttributor) {
    const Log log(services.streams, "mic-debug");
    try {
        return makeProvider(services, localeIdentifier, sampleRate, std::move(speakerAttributor),
                            log);
    } catch (const std::exception& error) {
        log.line("STT: provider creation failed for locale=" + localeIdentifier + ": " +
                 error.what());
        return nullptr;
    }
}

}  // namespace tapwell
