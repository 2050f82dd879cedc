#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tapwell {

/// The quick half of recognition: follows speech as it is spoken and tells where a segment of it
/// ends. One thread at a time.
class LiveRecognizer {
public:
    virtual ~LiveRecognizer() = default;

    /// Whether `segmentText` ever says anything.
    virtual bool givesText() const = 0;

    /// Takes the next 20 ms: 320 mono samples at 16 kHz. Returns whether it hears speech.
    virtual bool process(std::span<const std::int16_t> samples) = 0;

    /// What the segment amounts to so far; words of lower case, may change with more audio.
    virtual std::string segmentText() = 0;

    /// Ends the segment, returns its text, and begins the next one.
    virtual std::string endSegment() = 0;
};

}  // namespace tapwell
