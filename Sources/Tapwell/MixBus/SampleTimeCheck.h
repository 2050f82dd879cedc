#pragma once

#include <cstdint>
#include <optional>

namespace tapwell {

/// Tells from a stream's sample times whether frames were lost between two buffers. Not
/// synchronised.
class SampleTimeCheck {
public:
    /// Whether frames are missing before this buffer of `frameCount` frames. `sampleTime` counts
    /// the device's frames; absent where the device does not tell. A time that steps back tells
    /// nothing.
    bool isAfterLoss(std::optional<double> sampleTime, std::uint32_t frameCount) {
        constexpr double kRoundingFrames = 1.5;
        const bool isLoss = sampleTime && expected_ && *sampleTime > *expected_ + kRoundingFrames;
        expected_ = sampleTime ? std::optional(*sampleTime + frameCount) : std::nullopt;
        return isLoss;
    }

private:
    std::optional<double> expected_;
};

}  // namespace tapwell
