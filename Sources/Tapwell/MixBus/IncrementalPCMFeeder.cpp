#include "Tapwell/MixBus/IncrementalPCMFeeder.h"

#include "Platform/RecorderError.h"

#include <algorithm>
#include <cstring>

namespace tapwell {
namespace {

PcmBuffer makeScratch(const PcmBuffer& full) {
    auto scratch = PcmBuffer::withCapacity(full.format(), full.frameLength());
    if (!scratch) throw RecorderError(10, "Scratch PCM buffer alloc failed");
    return *std::move(scratch);
}

}  // namespace

IncrementalPCMFeeder::IncrementalPCMFeeder(const PcmBuffer& full)
    : full_(full), scratch_(makeScratch(full)) {}

const PcmBuffer* IncrementalPCMFeeder::next(std::uint32_t requestedFrames,
                                            SampleRateConverter::InputStatus& outStatus) {
    const std::int64_t remaining = std::int64_t{full_.frameLength()} - frameOffset_;
    if (remaining < 1) {
        outStatus = SampleRateConverter::InputStatus::endOfStream;
        return nullptr;
    }
    const auto frames = static_cast<std::uint32_t>(
        requestedFrames == 0 ? remaining : std::min<std::int64_t>(remaining, requestedFrames));
    const std::size_t bytesPerFrame = full_.format().bytesPerFrame();
    for (std::uint32_t block = 0; block < full_.format().bufferCount(); ++block)
        std::memcpy(scratch_.data(block),
                    full_.data(block) + static_cast<std::size_t>(frameOffset_) * bytesPerFrame,
                    frames * bytesPerFrame);
    scratch_.setFrameLength(frames);
    frameOffset_ += frames;
    outStatus = SampleRateConverter::InputStatus::haveData;
    return &scratch_;
}

}  // namespace tapwell
