#include "Platform/MakeHost.h"
#include "Tapwell/Control/TapwellMain.h"
#include "Tapwell/Transcription/CreateSpeechProvider.h"

#include <string>

/// The only place that knows which host there is: the one that was linked.
int main() {
    const auto host = tapwell::makeHost();
    const tapwell::SpeechProviderServices speech{host->speechEngines(), host->converters(),
                                                 host->queues(),        host->clock(),
                                                 host->userDefaults(),  host->streams()};
    return tapwell::TapwellMain(*host,
                                [&](const std::string& localeIdentifier, double sampleRate) {
                                    return tapwell::createSpeechProvider(speech, localeIdentifier,
                                                                         sampleRate, nullptr);
                                })
        .main();
}
