#pragma once

#include "Platform/PcmBuffer.h"

namespace tapwell {

/// The audio of one recognition, and how it is to be recognised. The options are set before a task
/// is started with the request and not touched afterwards.
///
/// `append` and `endAudio` may be called on any thread that is not real-time, also before the task
/// is started: audio waits for it. Calls of several threads are taken in their order of arrival.
class SpeechRecognitionRequest {
public:
    virtual ~SpeechRecognitionRequest() = default;

    bool shouldReportPartialResults = true;
    /// Asks for punctuation. An engine that knows none gives words alone.
    bool addsPunctuation = false;
    /// The audio must not leave the machine.
    bool requiresOnDeviceRecognition = false;

    /// Takes a copy of the frames: mono 32-bit float at any rate, the same for every buffer of a
    /// request. Returns without waiting for recognition. Ignored after `endAudio`. An engine that
    /// cannot keep up drops audio rather than to let it pile up without end, and says so in a log
    /// line.
    virtual void append(const PcmBuffer& buffer) = 0;

    /// No audio follows. Harmless when repeated.
    virtual void endAudio() = 0;
};

}  // namespace tapwell
