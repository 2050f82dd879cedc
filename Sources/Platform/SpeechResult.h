#pragma once

#include <string>

namespace tapwell {

/// What a speech engine has understood of one segment of speech.
struct SpeechResult {
    /// UTF-8. A partial result holds everything understood since the last final one.
    std::string text;
    /// False: a later result replaces this text. True: the segment is finished, and the next result
    /// belongs to what follows it.
    bool isFinal = false;
};

}  // namespace tapwell
