#include "Platform/MonoResampler.h"

#include <cmath>
#include <string>
#include <utility>

namespace tapwell {

std::unique_ptr<MonoResampler> MonoResampler::make(SampleRateConverterFactory& converters,
                                                   const AudioFormat& source,
                                                   const AudioFormat& target) {
    auto converter = converters.makeConverter(source, target);
    if (!converter) return nullptr;
    return std::unique_ptr<MonoResampler>(
        new MonoResampler(std::move(converter), target, target.sampleRate() / source.sampleRate()));
}

std::optional<PcmBuffer> MonoResampler::convert(const PcmBuffer& buffer) {
    using InputStatus = SampleRateConverter::InputStatus;
    // Room for all that may come out: a converter gives out in bursts what it has held back.
    const double frames =
        std::ceil(ratio_ * buffer.frameLength() + converter_->heldBackFrames()) + 1;
    auto converted = PcmBuffer::withCapacity(target_, static_cast<std::uint32_t>(frames));
    if (!converted) return std::nullopt;
    bool given = false;
    const auto giveOnce = [&](std::uint32_t, InputStatus& outStatus) -> const PcmBuffer* {
        outStatus = given ? InputStatus::noDataNow : InputStatus::haveData;
        return std::exchange(given, true) ? nullptr : &buffer;
    };
    std::string error;
    const auto status = converter_->convert(*converted, giveOnce, error);
    if (status == SampleRateConverter::OutputStatus::error || converted->frameLength() == 0)
        return std::nullopt;
    return converted;
}

}  // namespace tapwell
