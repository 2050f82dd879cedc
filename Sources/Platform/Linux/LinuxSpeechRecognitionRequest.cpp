#include "Platform/Linux/LinuxSpeechRecognitionRequest.h"

#include "Platform/Linux/SoxrSampleRateConverterFactory.h"
#include "Platform/MonoPcm.h"

namespace tapwell {
namespace {

constexpr double kModelRate = 16000;

}  // namespace

void LinuxSpeechRecognitionRequest::append(const PcmBuffer& buffer) {
    if (buffer.format().sampleRate() == kModelRate) {
        session_->append(monoFloatSamples(buffer));
        return;
    }
    const std::lock_guard hold(lock_);
    if (!resampler_) {
        SoxrSampleRateConverterFactory converters;
        const auto target = AudioFormat::make(CommonFormat::pcmFloat32, kModelRate, 1, false);
        resampler_ = MonoResampler::make(converters, buffer.format(), *target);
    }
    if (!resampler_) return;
    if (const auto resampled = resampler_->convert(buffer))
        session_->append(monoFloatSamples(*resampled));
}

}  // namespace tapwell
