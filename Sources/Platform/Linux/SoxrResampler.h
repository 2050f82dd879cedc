#pragma once

#include "Platform/Resampling/FixedRateResampler.h"

#include <memory>
#include <string>

struct soxr;

namespace tapwell {

/// libsoxr at its "very high" quality: flat to 0.913 of the lower Nyquist frequency, distortion and
/// noise around -150 dB.
class SoxrResampler final : public FixedRateResampler {
public:
    /// Rates in Hz. Null, with the reason, when libsoxr does not do this pair.
    static std::unique_ptr<SoxrResampler> make(double sourceRate, double targetRate,
                                               std::string& outError);

    bool process(const float* input, std::size_t inputCount, float* output, std::size_t capacity,
                 Progress& outProgress, std::string& outError) override;
    bool flush(float* output, std::size_t capacity, Progress& outProgress,
               std::string& outError) override;

private:
    struct Deleter {
        void operator()(soxr* stream) const;
    };

    explicit SoxrResampler(soxr* stream) : stream_(stream) {}

    std::unique_ptr<soxr, Deleter> stream_;
};

}  // namespace tapwell
