#pragma once

#include "Platform/Linux/LiveRecognizer.h"
#include "Platform/Linux/PocketSphinxDecoder.h"

namespace tapwell {

/// Words while they are spoken, of draft quality.
class PocketSphinxLiveRecognizer final : public LiveRecognizer {
public:
    /// Throws RecorderError.
    explicit PocketSphinxLiveRecognizer(const PocketSphinxModel& model)
        : decoder_(model, PocketSphinxDecoder::Effort::live) {
        decoder_.beginUtterance();
    }

    bool givesText() const override { return true; }
    bool process(std::span<const std::int16_t> samples) override {
        decoder_.process(samples);
        return decoder_.hearsSpeech();
    }
    std::string segmentText() override { return decoder_.hypothesis(); }
    std::string endSegment() override {
        decoder_.endUtterance();
        std::string text = decoder_.hypothesis();
        decoder_.beginUtterance();
        return text;
    }

private:
    PocketSphinxDecoder decoder_;
};

}  // namespace tapwell
