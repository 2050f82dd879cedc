#pragma once

#include "Tapwell/MixBus/DualStreamMixer.h"

namespace tapwell {

/// Mixes both streams into one channel with equal weights, the microphone boosted first. Frames are
/// mono.
class DualStreamMonoMixer final : public DualStreamMixer {
public:
    /// `log` is for the area "mix".
    using DualStreamMixer::DualStreamMixer;

private:
    std::vector<float> mixedFrame(std::span<const float> system,
                                  std::span<const float> mic) const override;
    std::vector<float> systemOnlyFrame(std::span<const float> system) const override;
};

}  // namespace tapwell
