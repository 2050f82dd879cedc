#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Linux/EncodingResources.h"

#include <memory>
#include <string>
#include <thread>

namespace tapwell {

class AacRecording;
class FfmpegAssetWriterInput;

/// The AssetWriter of this host: libavcodec's AAC encoder and our own MPEG-4 boxes. Encoding runs
/// in the input's `append`, and on threads of the writer's own when samples come faster than in
/// real time; finishing on a thread that the writer owns.
class FfmpegAssetWriter final : public AssetWriter {
public:
    /// Creates the file. Throws RecorderError.
    FfmpegAssetWriter(const std::string& path, const EncodingResources& resources);
    /// Waits for a finish that is under way.
    ~FfmpegAssetWriter() override;

    std::shared_ptr<AssetWriterInput> makeInput(
        const AudioOutputSettings& settings,
        std::shared_ptr<const AudioFormatDescription> sourceFormat) override;
    bool canAdd(const AssetWriterInput& input) const override;
    void add(std::shared_ptr<AssetWriterInput> input) override;
    bool startWriting() override;
    void startSession(MediaTime sourceTime) override;
    void finishWriting(std::function<void()> completion) override;
    Status status() const override;
    std::optional<RecorderError> error() const override;

private:
    void waitForFinish();

    std::shared_ptr<AacRecording> recording_;
    std::shared_ptr<FfmpegAssetWriterInput> input_;
    std::thread finishing_;
};

}  // namespace tapwell
