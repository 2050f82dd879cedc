#pragma once

#include "Platform/PcmBuffer.h"

namespace tapwell {

/// The audio going into a SpeechAnalyzer. Any thread that is not real-time; one at a time.
class SpeechAnalyzerInput {
public:
    virtual ~SpeechAnalyzerInput() = default;

    /// Takes a copy of the frames, in the format that the analyzer asked for. Returns without
    /// waiting for recognition; an engine that cannot keep up drops audio and says so in a log
    /// line. Ignored after `finish`.
    virtual void yield(const PcmBuffer& buffer) = 0;

    /// No audio follows. Harmless when repeated.
    virtual void finish() = 0;
};

}  // namespace tapwell
