#pragma once

#include "Platform/Linux/LiveRecognizer.h"
#include "Platform/Linux/SegmentRecognizer.h"
#include "Platform/SpeechCompletion.h"
#include "Platform/SpeechResult.h"

#include <functional>
#include <memory>
#include <span>
#include <string>

namespace tapwell {

/// Recognises one stream of speech on threads of its own: one that loads the engines and follows
/// the audio as it comes, and one for the second pass over finished segments, both of low priority.
///
/// What cannot be interrupted (loading, a pass of a decoder) is never waited for: a session that is
/// cancelled or released leaves its threads to end by themselves, and none of its callbacks begins
/// afterwards. All operations may be called on any thread, also within the session's callbacks.
///
/// A machine that is too slow: of audio that waits to be heard the oldest is dropped, a segment
/// that waits too long for its second pass becomes final as its draft, and drafts made by the
/// second half are left out first. A log line says so, once for each.
class SpeechSession {
public:
    using Report = std::function<void(const std::string& message)>;

    struct Engines {
        std::unique_ptr<LiveRecognizer> live;
        /// Makes the second half, on the second thread; throws RecorderError. Empty: drafts are
        /// final.
        std::function<std::shared_ptr<SegmentRecognizer>()> makeSegment;
    };
    /// Loads the engines, on the first thread; throws RecorderError.
    using Load = std::function<Engines(const Report& report)>;

    /// Called one at a time, on the session's threads. Each may be empty.
    struct Callbacks {
        SpeechCompletion onStarted;
        std::function<void(const SpeechResult&)> onResult;
        std::function<void()> onFinished;  ///< after `endAudio`, when everything heard is final
        Report report;                     ///< for log lines
    };

    /// Audio that waits to be heard, and segments that wait for the second pass, in seconds.
    static constexpr double maximumWaitingSeconds = 30.0;

    SpeechSession();
    /// Cancels.
    ~SpeechSession();
    SpeechSession(const SpeechSession&) = delete;
    SpeechSession& operator=(const SpeechSession&) = delete;

    /// At most once.
    void start(Load load, Callbacks callbacks);
    /// Takes a copy of mono samples at 16 kHz. Also before `start`. Ignored after `endAudio`.
    void append(std::span<const float> samples);
    /// Harmless when repeated.
    void endAudio();
    /// Nobody listens for results any more. What was heard is not worked on.
    void dropResults();
    /// From the end of the call on no callback begins; one on another thread has ended by then.
    void cancel();

private:
    struct Core;
    const std::shared_ptr<Core> core_;  ///< shared with the threads, which may outlive the session
};

}  // namespace tapwell
