#pragma once

#include <span>
#include <vector>

namespace tapwell {

/// The arithmetic of the side-by-side layout: left is the microphone, right the system audio, no
/// weights. Rules as MixMath's.
struct StereoMergeMath {
    /// n interleaved pairs: left = clip(mic), right = clip(system).
    static std::vector<float> interleaveStereoLR(std::span<const float> system,
                                                 std::span<const float> mic);

    /// n interleaved pairs: left = clip(preamp × mic), the preamp clamped as in MixMath;
    /// right = clip(system).
    static std::vector<float> interleaveStereoLRWithMicPreamp(std::span<const float> system,
                                                              std::span<const float> mic,
                                                              float micPreamp);
};

}  // namespace tapwell
