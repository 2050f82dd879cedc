#pragma once

#include "Platform/Host.h"
#include "Platform/StandardStreams.h"
#include "Tapwell/Control/AudioRecorder.h"
#include "Tapwell/Protocol/CommandLine.h"
#include "Tapwell/Protocol/EventEmitter.h"

namespace tapwell {

/// The process: owns the recorder and carries out the parent's commands, strictly one after the
/// other, on the thread that calls `main`.
class TapwellMain {
public:
    /// `createSpeechProvider` may be empty. The host must outlive this object.
    TapwellMain(Host& host, CreateSpeechProvider createSpeechProvider);

    /// Serves commands until "shutdown", a request to terminate, or the end of input, and returns
    /// the process's exit status. The first two stop a recording before; the end of input does not:
    /// the parent is gone, and the file is playable as it is.
    int main();

private:
    void handle(const Command& command);
    void start(const Command& command);
    void stop();
    void stopQuietly();

    StandardStreams& streams_;
    const EventEmitter events_;
    AudioRecorder recorder_;
    bool shutdownRequested_ = false;
};

}  // namespace tapwell
