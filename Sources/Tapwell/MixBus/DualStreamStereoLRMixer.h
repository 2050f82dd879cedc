#pragma once

#include "Tapwell/MixBus/DualStreamMixer.h"

namespace tapwell {

/// Lays both streams side by side at full level: left = the microphone, boosted and limited, right
/// = the system audio. Frames are interleaved pairs; without a microphone the left side is silent.
class DualStreamStereoLRMixer final : public DualStreamMixer {
public:
    /// `log` is for the area "stereo-lr".
    using DualStreamMixer::DualStreamMixer;

private:
    std::vector<float> mixedFrame(std::span<const float> system,
                                  std::span<const float> mic) const override;
    std::vector<float> systemOnlyFrame(std::span<const float> system) const override;
};

}  // namespace tapwell
