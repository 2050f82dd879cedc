#pragma once

#include "Platform/Simulated/SimulatedHost.h"
#include "Support/HostConverters.h"
#include "Tapwell/Transcription/SpeechProviderServices.h"

#include <string>
#include <vector>

namespace tapwell::test {

/// A simulated machine with speech engines, for tests of the speech providers.
struct SpeechTestBench {
    HostConverters converters;
    SimulatedHost host{converters};
    VirtualTime& time = host.time;
    SimulatedSpeechEngines& engines = host.simulatedSpeechEngines;
    SpeechProviderServices services{host.speechEngines(), host.converters(),   host.queues(),
                                    host.clock(),         host.userDefaults(), host.streams()};

    std::vector<std::string> events() const { return host.simulatedStreams.outputLines(); }
    int logged(const std::string& text) const {
        return host.simulatedStreams.countErrorLines(text);
    }
    static std::string transcript(const std::string& text, bool isFinal,
                                  const std::string& speaker = "") {
        return "{\"event\":\"transcript\",\"text\":\"" + text +
               "\",\"isFinal\":" + (isFinal ? "true" : "false") +
               (speaker.empty() ? "" : ",\"speaker\":\"" + speaker + "\"") + "}";
    }
};

}  // namespace tapwell::test
