#include "RecorderMixBus/StereoMergeMath.h"

#include "RecorderMixBus/MixMath.h"
#include "RecorderMixBus/Precondition.h"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace tapwell {
namespace {

std::vector<float> interleave(std::span<const float> system, std::span<const float> mic,
                              float micGain) {
    precondition(system.size() == mic.size(), "interleave: system and mic differ in length");
    precondition(system.size() <= std::numeric_limits<std::int64_t>::max() / 2,
                 "interleave: result too long");
    std::vector<float> pairs(system.size() * 2);
    for (std::size_t i = 0; i < system.size(); ++i) {
        pairs[2 * i] = MixMath::clip(micGain * mic[i]);
        pairs[2 * i + 1] = MixMath::clip(system[i]);
    }
    return pairs;
}

}  // namespace

std::vector<float> StereoMergeMath::interleaveStereoLR(std::span<const float> system,
                                                       std::span<const float> mic) {
    return interleave(system, mic, 1.0F);
}

std::vector<float> StereoMergeMath::interleaveStereoLRWithMicPreamp(std::span<const float> system,
                                                                    std::span<const float> mic,
                                                                    float micPreamp) {
    return interleave(system, mic, MixMath::clampedMicPreamp(micPreamp));
}

}  // namespace tapwell
