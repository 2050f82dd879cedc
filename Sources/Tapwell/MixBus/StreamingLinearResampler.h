#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tapwell {

/// Linear interpolation from one rate to another whose output clock runs on across chunks. It never
/// reaches into the next chunk: between the last sample of one and the first of the next the last
/// sample is held. Not synchronised.
class StreamingLinearResampler {
public:
    /// Rates in Hz.
    StreamingLinearResampler(double srcRate, double dstRate)
        : srcRate_(srcRate), dstRate_(dstRate) {}

    /// The output samples whose positions lie within this chunk of mono input. Empty for an empty
    /// chunk or a rate that is not positive; the clock does not move then.
    std::vector<float> push(std::span<const float> samples);

    double srcRate() const { return srcRate_; }
    double dstRate() const { return dstRate_; }

private:
    const double srcRate_;
    const double dstRate_;
    double cumulativeInputFrames_ = 0;
    std::int64_t nextOutputIndex_ = 0;
};

}  // namespace tapwell
