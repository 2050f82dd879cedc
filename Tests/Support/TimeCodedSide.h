#pragma once

#include "Support/TimeCode.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace tapwell::test {

/// One side of a recording of a time code at 48 kHz, judged sample by sample.
struct TimeCodedSide {
    /// On either side of silence: a filter rings there.
    static constexpr std::size_t edgeSamples = 400;
    static_assert(TimeCode::reach <= edgeSamples);

    std::vector<float> samples;
    std::size_t silent = 0;     ///< samples
    double worst = 0;           ///< distance in samples from where a sample belongs
    std::size_t fromFirst = 0;  ///< samples of the first device
    std::size_t fromNext = 0;   ///< samples of the devices changed to, which play the code negated

    /// `begin`: the time of the first sample, in seconds.
    void judge(double begin, const TimeCode& code) {
        silent = static_cast<std::size_t>(std::count(samples.begin(), samples.end(), 0.0F));
        for (std::size_t i = edgeSamples; i + edgeSamples < samples.size(); ++i) {
            const bool isAtEdge = samples[i - edgeSamples] * samples[i] <= 0 ||
                                  samples[i + edgeSamples] * samples[i] <= 0;
            if (isAtEdge) continue;
            const double place = (code.timeOf(samples, i) - begin) * TimeCode::rate;
            worst = std::max(worst, std::abs(place - static_cast<double>(i)));
            ++(samples[i] > 0 ? fromFirst : fromNext);
        }
    }
};

}  // namespace tapwell::test
