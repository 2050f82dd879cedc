#pragma once

#include <span>
#include <vector>

namespace tapwell {

/// The arithmetic of a mono mix. Samples are 32-bit floats, nominally in [-1, 1]. Stateless; any
/// thread; allocates the result. Inputs of unequal length (or of odd length, where pairs are
/// expected) end the process.
///
/// To clip is to replace a value above 1 by 1 and one below -1 by -1.
struct MixMath {
    static constexpr float systemWeight = 0.5F;
    static constexpr float micWeight = 0.5F;
    static constexpr float defaultMicPreamp = 6.0F;
    static constexpr float minMicPreamp = 1.0F;
    static constexpr float maxMicPreamp = 8.0F;

    /// `preamp` limited to [minMicPreamp, maxMicPreamp]; NaN gives maxMicPreamp.
    static float clampedMicPreamp(float preamp);

    /// `sample`, clipped. NaN stays NaN.
    static float clip(float sample);

    /// n samples: clip(system × 0.5 + mic × 0.5).
    static std::vector<float> equalWeightMixAndClip(std::span<const float> system,
                                                    std::span<const float> mic);

    /// n samples: clip(system × 0.5 + clip(preamp × mic) × 0.5), the preamp clamped. The boosted
    /// microphone is limited on its own first, so that it never takes more than half of full
    /// scale; a boosted value that is NaN counts as 1.
    static std::vector<float> equalWeightMixAndClipWithMicPreamp(std::span<const float> system,
                                                                 std::span<const float> mic,
                                                                 float micPreamp);

    /// n samples from n interleaved pairs: (left + right) × 0.5, not clipped.
    static std::vector<float> downmixInterleavedStereoToMono(std::span<const float> interleaved);
};

}  // namespace tapwell
