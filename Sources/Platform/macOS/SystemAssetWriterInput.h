#pragma once

#include "Platform/AssetWriterInput.h"
#include "Platform/AudioFormatDescription.h"
#include "Platform/AudioOutputSettings.h"

#include <memory>

@class AVAssetWriter;
@class AVAssetWriterInput;

namespace tapwell {

/// An input of the system's asset writer.
class SystemAssetWriterInput final : public AssetWriterInput {
public:
    /// Settings that the system refuses give an input that no writer takes. `sourceFormat` may be
    /// null.
    SystemAssetWriterInput(const AudioOutputSettings& settings,
                           const AudioFormatDescription* sourceFormat);
    ~SystemAssetWriterInput() override;
    SystemAssetWriterInput(const SystemAssetWriterInput&) = delete;
    SystemAssetWriterInput& operator=(const SystemAssetWriterInput&) = delete;

    void setExpectsMediaDataInRealTime(bool expects) override;
    bool expectsMediaDataInRealTime() const override;
    bool isReadyForMoreMediaData() const override;
    bool append(const SampleBuffer& buffer) override;
    void markAsFinished() override;

    /// Null when the system refused the settings.
    AVAssetWriterInput* native() const;
    /// Called by the writer that took this input.
    void attach(AVAssetWriter* writer);

private:
    struct Core;
    const std::unique_ptr<Core> core_;
};

}  // namespace tapwell
