#include "RecorderMixBus/MixMath.h"

#include "RecorderMixBus/Precondition.h"

#include <cstddef>

namespace tapwell {

float MixMath::clampedMicPreamp(float preamp) {
    if (!(preamp < maxMicPreamp)) return maxMicPreamp;
    return preamp > minMicPreamp ? preamp : minMicPreamp;
}

float MixMath::clip(float sample) {
    const float below = sample > 1.0F ? 1.0F : sample;
    return below < -1.0F ? -1.0F : below;
}

std::vector<float> MixMath::equalWeightMixAndClip(std::span<const float> system,
                                                  std::span<const float> mic) {
    precondition(system.size() == mic.size(), "mix: system and mic differ in length");
    std::vector<float> mixed(system.size());
    for (std::size_t i = 0; i < mixed.size(); ++i)
        mixed[i] = clip(system[i] * systemWeight + mic[i] * micWeight);
    return mixed;
}

std::vector<float> MixMath::equalWeightMixAndClipWithMicPreamp(std::span<const float> system,
                                                               std::span<const float> mic,
                                                               float micPreamp) {
    precondition(system.size() == mic.size(), "mix: system and mic differ in length");
    const float preamp = clampedMicPreamp(micPreamp);
    std::vector<float> mixed(system.size());
    for (std::size_t i = 0; i < mixed.size(); ++i) {
        const float boosted = preamp * mic[i];
        // Written so that NaN takes the first branch.
        const float limited = !(boosted < 1.0F) ? 1.0F : (boosted < -1.0F ? -1.0F : boosted);
        mixed[i] = clip(system[i] * systemWeight + limited * micWeight);
    }
    return mixed;
}

std::vector<float> MixMath::downmixInterleavedStereoToMono(std::span<const float> interleaved) {
    precondition(interleaved.size() % 2 == 0, "downmix: odd number of interleaved samples");
    std::vector<float> mono(interleaved.size() / 2);
    for (std::size_t i = 0; i < mono.size(); ++i)
        mono[i] = (interleaved[2 * i] + interleaved[2 * i + 1]) * 0.5F;
    return mono;
}

}  // namespace tapwell
