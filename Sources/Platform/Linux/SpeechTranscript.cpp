#include "Platform/Linux/SpeechTranscript.h"

#include <utility>

namespace tapwell {

SpeechTranscript::Results SpeechTranscript::draftChanged(const std::string& text) {
    Results results;
    runningDraft_ = text;
    appendPartialIfChanged(results);
    return results;
}

SpeechTranscript::Results SpeechTranscript::segmentEnded(const std::string& draft) {
    Results results;
    endedDrafts_.push_back(draft);
    runningDraft_.clear();
    ++runningSegment_;
    appendPartialIfChanged(results);
    return results;
}

SpeechTranscript::Results SpeechTranscript::segmentFinal(const std::string& text) {
    Results results;
    if (endedDrafts_.empty()) return results;
    const std::string draft = std::exchange(endedDrafts_.front(), "");
    endedDrafts_.pop_front();
    const std::string& finalText = text.empty() ? draft : text;
    if (!finalText.empty()) {
        results.push_back({finalText, true});
        lastPartial_.clear();
    }
    appendPartialIfChanged(results);
    return results;
}

void SpeechTranscript::appendPartialIfChanged(Results& results) {
    std::string partial;
    const auto append = [&](const std::string& text) {
        if (!text.empty()) partial += (partial.empty() ? "" : " ") + text;
    };
    for (const std::string& draft : endedDrafts_)
        append(draft);
    append(runningDraft_);
    if (partial == lastPartial_) return;
    lastPartial_ = partial;
    results.push_back({partial, false});
}

}  // namespace tapwell
