#include "Tapwell/MixBus/DualStreamStereoLRMixer.h"

#include "RecorderMixBus/StereoMergeMath.h"

namespace tapwell {

std::vector<float> DualStreamStereoLRMixer::mixedFrame(std::span<const float> system,
                                                       std::span<const float> mic) const {
    return StereoMergeMath::interleaveStereoLRWithMicPreamp(system, mic, micPreamp());
}

std::vector<float> DualStreamStereoLRMixer::systemOnlyFrame(std::span<const float> system) const {
    const std::vector<float> silence(system.size());
    return StereoMergeMath::interleaveStereoLR(system, silence);
}

}  // namespace tapwell
