#pragma once

#include <span>
#include <vector>

namespace tapwell::test {

/// Short bursts of a tone, whose times survive an AAC encoder: a click that can be told from the
/// clicks of another source by its frequency.
struct ToneBurst {
    double frequencyHz = 0;
    static constexpr double durationSeconds = 0.008;

    /// Adds a burst of the given peak whose middle lies `seconds` after the first sample.
    void addTo(std::span<float> samples, double sampleRate, double seconds, double peak) const;

    /// The middles of all bursts in the samples, in seconds, in order. A burst counts when it is
    /// at least a third as strong as the strongest, and that one when it has a peak of at least
    /// 0.02.
    std::vector<double> find(std::span<const float> samples, double sampleRate) const;
};

}  // namespace tapwell::test
