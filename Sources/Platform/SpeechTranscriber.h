#pragma once

#include "Platform/RecorderError.h"
#include "Platform/SpeechCompletion.h"
#include "Platform/SpeechModelStatus.h"
#include "Platform/SpeechResult.h"

#include <functional>

namespace tapwell {

/// The module of a SpeechAnalyzer that turns speech of one locale into text, and the model that it
/// needs. Any thread. Completions and handlers are called on any thread, or from within the call.
class SpeechTranscriber {
public:
    virtual ~SpeechTranscriber() = default;

    /// Looks for the model; does not load it. Calls `completion` exactly once.
    virtual void modelStatus(std::function<void(SpeechModelStatus)> completion) = 0;

    /// Fetches the model of a transcriber whose status is `missing`; may take minutes. Calls
    /// `completion` exactly once, unless the transcriber is released before.
    virtual void installModel(SpeechCompletion completion) = 0;

    /// Where results go; to be set before the analyzer is started. Partial results come quickly and
    /// are replaced; each segment becomes final exactly once, and finals come in the order of the
    /// speech. Calls come one at a time, in order, and never from within a call of the analyzer.
    /// `onFailure` is the last call, if the stream of results breaks off.
    ///
    /// Setting null handlers later tells that nobody listens any more: none begins afterwards (one
    /// that has begun may still be running), and the engine may leave out the work for results.
    virtual void setResultHandlers(std::function<void(const SpeechResult&)> onResult,
                                   std::function<void(const RecorderError&)> onFailure) = 0;
};

}  // namespace tapwell
