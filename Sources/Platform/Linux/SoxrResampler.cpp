#include "Platform/Linux/SoxrResampler.h"

#include <soxr.h>

namespace tapwell {

void SoxrResampler::Deleter::operator()(soxr* stream) const {
    soxr_delete(stream);
}

std::unique_ptr<SoxrResampler> SoxrResampler::make(double sourceRate, double targetRate,
                                                   std::string& outError) {
    const soxr_io_spec_t samples = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    // The precise clock keeps ratios that are no fraction of small integers exact for hours.
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, SOXR_HI_PREC_CLOCK);
    const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    soxr_t stream = soxr_create(sourceRate, targetRate, 1, &error, &samples, &quality, &oneThread);
    if (stream == nullptr || error != nullptr) {
        outError = soxr_strerror(error);
        soxr_delete(stream);
        return nullptr;
    }
    return std::unique_ptr<SoxrResampler>(new SoxrResampler(stream));
}

bool SoxrResampler::process(const float* input, std::size_t inputCount, float* output,
                            std::size_t capacity, Progress& outProgress, std::string& outError) {
    outProgress = {};
    const soxr_error_t error = soxr_process(stream_.get(), input, inputCount, &outProgress.consumed,
                                            output, capacity, &outProgress.produced);
    if (error != nullptr) outError = soxr_strerror(error);
    return error == nullptr;
}

bool SoxrResampler::flush(float* output, std::size_t capacity, Progress& outProgress,
                          std::string& outError) {
    return process(nullptr, 0, output, capacity, outProgress, outError);
}

}  // namespace tapwell
