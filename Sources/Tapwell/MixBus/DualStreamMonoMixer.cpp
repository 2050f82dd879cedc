#include "Tapwell/MixBus/DualStreamMonoMixer.h"

#include <algorithm>

namespace tapwell {

std::vector<float> DualStreamMonoMixer::mixedFrame(std::span<const float> system,
                                                   std::span<const float> mic) const {
    return MixMath::equalWeightMixAndClipWithMicPreamp(system, mic, micPreamp());
}

std::vector<float> DualStreamMonoMixer::systemOnlyFrame(std::span<const float> system) const {
    std::vector<float> frame(system.size());
    std::transform(system.begin(), system.end(), frame.begin(), MixMath::clip);
    return frame;
}

}  // namespace tapwell
