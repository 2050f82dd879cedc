#pragma once

namespace tapwell {

/// A running recognition of one request. Releasing it cancels it; that does not wait for work that
/// an engine cannot interrupt.
class SpeechRecognitionTask {
public:
    virtual ~SpeechRecognitionTask() = default;

    /// Takes no more audio and lets the task come to its end. Results for what it had heard may
    /// still arrive, on the engine's threads, until it is released. Returns at once; any thread.
    virtual void finish() = 0;
};

}  // namespace tapwell
