#pragma once

#include "Platform/Linux/PocketSphinxDecoder.h"
#include "Platform/Linux/SegmentRecognizer.h"

namespace tapwell {

/// A second look at a segment with the decoder's full search. Cannot be interrupted.
class PocketSphinxSegmentRecognizer final : public SegmentRecognizer {
public:
    /// Throws RecorderError.
    explicit PocketSphinxSegmentRecognizer(const PocketSphinxModel& model)
        : decoder_(model, PocketSphinxDecoder::Effort::thorough) {}

    std::string recognize(std::span<const std::int16_t> samples,
                          const std::atomic<bool>&) override {
        decoder_.beginUtterance();
        decoder_.processWhole(samples);
        decoder_.endUtterance();
        return decoder_.hypothesis();
    }

private:
    PocketSphinxDecoder decoder_;
};

}  // namespace tapwell
