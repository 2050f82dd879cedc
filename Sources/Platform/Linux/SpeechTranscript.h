#pragma once

#include "Platform/SpeechResult.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace tapwell {

/// Puts together what the two halves of recognition say: a partial result is everything understood
/// since the last final one, the drafts of segments that wait for their second pass included; each
/// segment becomes final once, in order. Not synchronised.
class SpeechTranscript {
public:
    using Results = std::vector<SpeechResult>;  ///< to be given out in this order

    /// The draft of the running segment is now this.
    Results draftChanged(const std::string& text);
    /// The running segment has ended with this draft; the next one begins.
    Results segmentEnded(const std::string& draft);
    /// The oldest ended segment is final. Its draft stands in when the text is empty.
    Results segmentFinal(const std::string& text);

    /// Counts the ended segments; the number of the running one.
    std::uint64_t runningSegment() const { return runningSegment_; }

private:
    void appendPartialIfChanged(Results& results);

    std::deque<std::string> endedDrafts_;
    std::string runningDraft_;
    std::string lastPartial_;
    std::uint64_t runningSegment_ = 0;
};

}  // namespace tapwell
