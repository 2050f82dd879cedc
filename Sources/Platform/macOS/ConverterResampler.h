#pragma once

#include "Platform/Resampling/FixedRateResampler.h"

#include <memory>
#include <string>

namespace tapwell {

/// The system's audio converter at its best quality, for one mono stream. The converter leaves its
/// filter's delay out of its output by itself (its normal priming).
class ConverterResampler final : public FixedRateResampler {
public:
    /// Rates in Hz. Null when the system has no converter for the pair.
    static std::unique_ptr<ConverterResampler> make(double sourceRate, double targetRate);

    ~ConverterResampler() override;
    ConverterResampler(const ConverterResampler&) = delete;
    ConverterResampler& operator=(const ConverterResampler&) = delete;

    /// Takes all of `input` or nothing.
    bool process(const float* input, std::size_t inputCount, float* output, std::size_t capacity,
                 Progress& outProgress, std::string& outError) override;
    bool flush(float* output, std::size_t capacity, Progress& outProgress,
               std::string& outError) override;

private:
    struct Core;
    explicit ConverterResampler(std::unique_ptr<Core> core);

    const std::unique_ptr<Core> core_;
};

}  // namespace tapwell
