#pragma once

#include "Platform/RecorderError.h"
#include "Platform/SpeechRecognitionRequest.h"
#include "Platform/SpeechRecognitionTask.h"
#include "Platform/SpeechResult.h"

#include <functional>
#include <memory>

namespace tapwell {

/// Recognises speech of one locale from audio requests. Any thread; needs no run loop of the
/// caller.
class SpeechRecognizer {
public:
    /// Called with either a result or an error, the other being null; both are valid during the
    /// call. Calls come one at a time, in the order of the speech, on a thread of the engine, never
    /// from within a call of the recognizer, its request or its task. A task may give any number of
    /// finished segments. After an error it gives nothing more.
    using ResultHandler = std::function<void(const SpeechResult* result, const RecorderError*)>;

    virtual ~SpeechRecognizer() = default;

    /// Whether recognition could begin now.
    virtual bool isAvailable() const = 0;

    /// Whether it can work without a server. One that cannot has its requests cut off by the server
    /// after a minute.
    virtual bool supportsOnDeviceRecognition() const = 0;

    virtual std::shared_ptr<SpeechRecognitionRequest> makeRequest() = 0;

    /// Starts to recognise a request of this recognizer, at most once each. Returns at once; what
    /// is slow, such as loading a model, happens on a thread of the engine, and its failure comes
    /// through `handler`. The handler is released with the task. Not null.
    virtual std::shared_ptr<SpeechRecognitionTask> startTask(
        std::shared_ptr<SpeechRecognitionRequest> request, ResultHandler handler) = 0;
};

}  // namespace tapwell
