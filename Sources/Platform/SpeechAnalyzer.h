#pragma once

#include "Platform/AudioFormat.h"
#include "Platform/SpeechAnalyzerInput.h"
#include "Platform/SpeechCompletion.h"

#include <functional>
#include <memory>
#include <optional>

namespace tapwell {

/// Runs a transcriber over one stream of audio. Any thread. Completions are called on any thread,
/// or from within the call.
///
/// Releasing the analyzer cancels it: no handler of its transcriber begins afterwards; one that has
/// begun may still be running. It does not wait for work that the engine cannot interrupt, such as
/// loading a model.
class SpeechAnalyzer {
public:
    virtual ~SpeechAnalyzer() = default;

    /// The format of audio that suits the transcriber best: mono 32-bit float. Absent when the
    /// engine cannot tell. Calls `completion` exactly once.
    virtual void bestAvailableAudioFormat(
        std::function<void(std::optional<AudioFormat>)> completion) = 0;

    /// The stream that `start` will read; audio yielded before waits. The same at every call.
    virtual std::shared_ptr<SpeechAnalyzerInput> input() = 0;

    /// Starts to analyse; at most once. What is slow, such as loading a model, does not hold up the
    /// caller. Calls `completion` exactly once, when the analyzer works or when it cannot, unless
    /// it is released before.
    virtual void start(SpeechCompletion completion) = 0;

    /// Ends the input, lets everything heard so far become final, and ends the results. To be
    /// called once, after `start` has succeeded. Calls `completion` exactly once, after the last
    /// result, unless the analyzer is released before.
    virtual void finalizeAndFinishThroughEndOfInput(SpeechCompletion completion) = 0;
};

}  // namespace tapwell
