#pragma once

#include "Platform/StandardStreams.h"
#include "Tapwell/Protocol/Events.h"

namespace tapwell {

/// Writes events to standard output: one compact JSON object a line, "event" first and the other
/// members in the records' order, slashes escaped, other characters beyond ASCII as UTF-8. Each
/// line is written whole and flushed. An event that cannot be encoded (text that is not UTF-8) is
/// dropped. Any thread except a real-time one.
class EventEmitter {
public:
    explicit EventEmitter(StandardStreams& streams) : streams_(streams) {}

    void emitEvent(const StartedEvent& event) const;
    void emitEvent(const StatusEvent& event) const;
    void emitEvent(const FinalizedEvent& event) const;
    void emitEvent(const PermissionsEvent& event) const;
    void emitEvent(const ErrorEvent& event) const;
    void emitEvent(const TranscriptEvent& event) const;

private:
    StandardStreams& streams_;
};

}  // namespace tapwell
