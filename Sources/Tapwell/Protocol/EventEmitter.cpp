#include "Tapwell/Protocol/EventEmitter.h"

#include "Tapwell/Protocol/JsonObjectText.h"

namespace tapwell {
namespace {

JsonObjectText record(std::string_view event) {
    return JsonObjectText().add("event", event);
}

void write(StandardStreams& streams, const JsonObjectText& record) {
    if (auto line = record.text()) streams.writeOutput(*line += '\n');
}

}  // namespace

void EventEmitter::emitEvent(const StartedEvent& event) const {
    write(streams_, record("started").add("outputPath", event.outputPath));
}

void EventEmitter::emitEvent(const StatusEvent& event) const {
    write(streams_, record("status").add("state", event.state));
}

void EventEmitter::emitEvent(const FinalizedEvent& event) const {
    write(streams_, record("finalized")
                        .add("outputPath", event.outputPath)
                        .add("bytes", event.bytes)
                        .add("durationMs", event.durationMs));
}

void EventEmitter::emitEvent(const PermissionsEvent& event) const {
    write(streams_, record("permissions")
                        .add("microphone", event.microphone)
                        .add("systemAudio", event.systemAudio));
}

void EventEmitter::emitEvent(const ErrorEvent& event) const {
    write(streams_, record("error").add("code", event.code).add("message", event.message));
}

void EventEmitter::emitEvent(const TranscriptEvent& event) const {
    JsonObjectText transcript = record("transcript");
    transcript.add("text", event.text).add("isFinal", event.isFinal);
    if (event.speaker) transcript.add("speaker", *event.speaker);
    write(streams_, transcript);
}

}  // namespace tapwell
