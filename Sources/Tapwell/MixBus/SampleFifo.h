#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tapwell {

/// A queue of mono samples. Taking from the front is cheap. Not synchronised.
class SampleFifo {
public:
    std::int64_t count() const { return static_cast<std::int64_t>(samples_.size() - head_); }
    bool isEmpty() const { return count() == 0; }

    void append(std::span<const float> samples);
    /// Zeros at the end; `sampleCount` must not be negative.
    void appendSilence(std::int64_t sampleCount);
    /// Zeros before everything queued; `sampleCount` must not be negative.
    void prependSilence(std::int64_t sampleCount);
    /// Removes and returns the first samples; there must be that many.
    std::vector<float> take(std::int64_t sampleCount);
    void clear();

private:
    void compact();

    std::vector<float> samples_;
    std::size_t head_ = 0;  ///< samples before it were taken
};

}  // namespace tapwell
