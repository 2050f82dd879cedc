#include "Tapwell/Protocol/EventEmitter.h"

#include <nlohmann/json.hpp>

#include <string>

namespace tapwell {
namespace {

using Json = nlohmann::ordered_json;

void write(StandardStreams& streams, const Json& record) {
    std::string text;
    try {
        text = record.dump();
    } catch (const Json::exception&) {
        return;
    }
    std::string line;
    line.reserve(text.size() + 16);
    for (char c : text) {
        // A slash can only occur inside a string here.
        if (c == '/') line += '\\';
        line += c;
    }
    line += '\n';
    streams.writeOutput(line);
}

}  // namespace

void EventEmitter::emitEvent(const StartedEvent& event) const {
    write(streams_, {{"event", "started"}, {"outputPath", event.outputPath}});
}

void EventEmitter::emitEvent(const StatusEvent& event) const {
    write(streams_, {{"event", "status"}, {"state", event.state}});
}

void EventEmitter::emitEvent(const FinalizedEvent& event) const {
    write(streams_, {{"event", "finalized"},
                     {"outputPath", event.outputPath},
                     {"bytes", event.bytes},
                     {"durationMs", event.durationMs}});
}

void EventEmitter::emitEvent(const PermissionsEvent& event) const {
    write(streams_, {{"event", "permissions"},
                     {"microphone", event.microphone},
                     {"systemAudio", event.systemAudio}});
}

void EventEmitter::emitEvent(const ErrorEvent& event) const {
    write(streams_, {{"event", "error"}, {"code", event.code}, {"message", event.message}});
}

void EventEmitter::emitEvent(const TranscriptEvent& event) const {
    Json record = {{"event", "transcript"}, {"text", event.text}, {"isFinal", event.isFinal}};
    if (event.speaker) record["speaker"] = *event.speaker;
    write(streams_, record);
}

}  // namespace tapwell
