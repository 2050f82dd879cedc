#pragma once

#include "Platform/AssetWriterInput.h"
#include "Platform/AudioFormatDescription.h"
#include "Platform/AudioOutputSettings.h"

#include <atomic>
#include <memory>

namespace tapwell {

class AacRecording;

/// An input that encodes within `append`, on the caller's queue, which is how it holds back a
/// producer that is faster than the encoder.
class FfmpegAssetWriterInput final : public AssetWriterInput {
public:
    FfmpegAssetWriterInput(const AudioOutputSettings& settings,
                           std::shared_ptr<const AudioFormatDescription> sourceFormat)
        : settings_(settings), sourceFormat_(std::move(sourceFormat)) {}

    void setExpectsMediaDataInRealTime(bool expects) override { expectsRealTime_ = expects; }
    bool expectsMediaDataInRealTime() const override { return expectsRealTime_; }
    /// True also after a failure: `append` is what tells of it, and a queue in front of the input
    /// must be able to run empty.
    bool isReadyForMoreMediaData() const override;
    bool append(const SampleBuffer& buffer) override;
    void markAsFinished() override { isFinished_ = true; }

    const AudioOutputSettings& settings() const { return settings_; }
    /// Whether the settings can be encoded, from buffers of the source format (which may be
    /// unknown; the buffers must then be 32-bit float, interleaved, like the settings).
    bool canEncode() const;
    /// Called by the writer that adds this input, before writing starts.
    void attach(std::shared_ptr<AacRecording> recording) { recording_ = std::move(recording); }

private:
    const AudioOutputSettings settings_;
    const std::shared_ptr<const AudioFormatDescription> sourceFormat_;
    std::shared_ptr<AacRecording> recording_;
    std::atomic<bool> expectsRealTime_{false};
    std::atomic<bool> isFinished_{false};
};

}  // namespace tapwell
