#include "Tapwell/MixBus/StreamingLinearResampler.h"

#include <algorithm>
#include <cmath>

namespace tapwell {

std::vector<float> StreamingLinearResampler::push(std::span<const float> samples) {
    std::vector<float> output;
    if (samples.empty() || !(srcRate_ > 0) || !(dstRate_ > 0)) return output;
    output.reserve(
        static_cast<std::size_t>(static_cast<double>(samples.size()) * dstRate_ / srcRate_ + 2));

    const double base = cumulativeInputFrames_;
    const double end = base + static_cast<double>(samples.size());
    cumulativeInputFrames_ = end;
    const auto lastIndex = static_cast<std::int64_t>(samples.size()) - 1;
    for (;;) {
        const double position = srcRate_ * static_cast<double>(nextOutputIndex_) / dstRate_;
        if (!(position < end)) break;
        const double local = position - base;
        const double whole = std::floor(local);
        const auto i0 = std::clamp(static_cast<std::int64_t>(whole), std::int64_t{0}, lastIndex);
        const auto i1 = std::min(i0 + 1, lastIndex);
        const auto fraction = static_cast<float>(local - whole);
        output.push_back((1.0F - fraction) * samples[static_cast<std::size_t>(i0)] +
                         fraction * samples[static_cast<std::size_t>(i1)]);
        ++nextOutputIndex_;
    }
    return output;
}

}  // namespace tapwell
