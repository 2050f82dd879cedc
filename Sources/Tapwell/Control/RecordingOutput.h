#pragma once

#include "Tapwell/MixBus/CaptureReceiver.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace tapwell {

/// What becomes of the captured audio of one recording: one of the recorder's modes. Calls come
/// from the recorder's control path, except where said. Exactly one of `finish` and `abandon` is
/// called, after both capture streams have come to rest.
class RecordingOutput {
public:
    virtual ~RecordingOutput() = default;

    virtual const std::shared_ptr<CaptureReceiver>& receiver() const = 0;

    /// Whether there is live transcription in this mode.
    virtual bool isTranscribed() const { return true; }
    /// Whether the log tells the rate of a route that is changed to.
    virtual bool reportsRouteCaptureRate() const { return false; }

    /// The microphone's capture is about to be torn down for a restart, and runs again. On the
    /// microphone engine's restart queue. In between, before the first buffer of the new capture,
    /// the receiver's path is reset.
    virtual void microphoneWillRestart() {}
    virtual void microphoneDidRestart() {}

    /// A stop begins: both capture streams still run.
    virtual void captureWillStop() {}

    /// Brings every captured sample to its destination. Returns the size in bytes of the finished
    /// file (0 when it cannot be read), or nothing where there is no file. Throws RecorderError
    /// when there is no finished file; what was captured is still there then.
    virtual std::optional<std::int64_t> finish() = 0;

    /// The start failed; nothing of the recording is wanted.
    virtual void abandon() {}
};

}  // namespace tapwell
