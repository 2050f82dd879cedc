#pragma once

#include <cstddef>
#include <memory>
#include <string>

struct soxr;

namespace tapwell {

/// One mono stream through libsoxr at a fixed ratio and its "very high" quality: flat to 0.913 of
/// the lower Nyquist frequency, distortion and noise around -150 dB, and the filter's delay taken
/// out of the output. The output does not depend on how input and output are cut into pieces. Not
/// synchronised.
class FixedRateResampler {
public:
    struct Progress {
        std::size_t consumed = 0;  ///< input samples taken
        std::size_t produced = 0;  ///< output samples given
    };

    /// Rates in Hz. Null, with the reason, when libsoxr does not do this pair.
    static std::unique_ptr<FixedRateResampler> make(double sourceRate, double targetRate,
                                                    std::string& outError);

    /// Takes from `input` and puts what is ready into `output`. Both counts may be smaller than
    /// offered. False on an error of the library.
    bool process(const float* input, std::size_t inputCount, float* output, std::size_t capacity,
                 Progress& outProgress, std::string& outError);

    /// Without further input, the rest of the output; to be called until nothing is produced.
    bool flush(float* output, std::size_t capacity, Progress& outProgress, std::string& outError);

private:
    struct Deleter {
        void operator()(soxr* stream) const;
    };

    explicit FixedRateResampler(soxr* stream) : stream_(stream) {}

    std::unique_ptr<soxr, Deleter> stream_;
};

}  // namespace tapwell
