#pragma once

#include <cstddef>
#include <string>

namespace tapwell {

/// One mono stream of 32-bit float samples through a host's resampler, at a fixed ratio of rates.
/// The output does not depend on how input and output are cut into pieces. Not synchronised.
///
/// Output sample k lies at the time of input sample k x source rate / target rate: the filter's
/// delay is taken out of the output, and shows only as output that comes later.
class FixedRateResampler {
public:
    struct Progress {
        std::size_t consumed = 0;  ///< input samples taken
        std::size_t produced = 0;  ///< output samples given
    };

    virtual ~FixedRateResampler() = default;

    /// Takes from `input` and puts what is ready into `output`. Both counts may be smaller than
    /// offered. False on an error of the host, with the reason.
    virtual bool process(const float* input, std::size_t inputCount, float* output,
                         std::size_t capacity, Progress& outProgress, std::string& outError) = 0;

    /// Without further input, the rest of the output; to be called until nothing is produced.
    virtual bool flush(float* output, std::size_t capacity, Progress& outProgress,
                       std::string& outError) = 0;
};

}  // namespace tapwell
