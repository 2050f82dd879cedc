#pragma once

#include "Platform/Linux/LiveRecognizer.h"

namespace tapwell {

/// Tells speech from pauses by the level alone, for engines that have no quick half of their own.
class PauseDetector final : public LiveRecognizer {
public:
    bool givesText() const override { return false; }
    bool process(std::span<const std::int16_t> samples) override;
    std::string segmentText() override { return ""; }
    std::string endSegment() override;

private:
    double noiseFloorDb_ = 0;  ///< of full scale
    bool hasFloor_ = false;
    int loudBlocks_ = 0;   ///< in a row
    int quietBlocks_ = 0;  ///< in a row
    bool hearsSpeech_ = false;
};

}  // namespace tapwell
