#pragma once

#include "Platform/AssetWriter.h"

#include <memory>
#include <string>

namespace tapwell {

/// The system's asset writer, for MPEG-4 audio.
///
/// The system makes the file itself, when writing starts; a file that appears at the path before
/// then makes `startWriting` fail. Whether the file is playable while it grows, after a kill and
/// after a failure is up to how the system writes fragments of this type of file: they are asked
/// for, a fifth of a second long.
class SystemAssetWriter final : public AssetWriter {
public:
    /// Throws RecorderError.
    explicit SystemAssetWriter(const std::string& path);
    ~SystemAssetWriter() override;
    SystemAssetWriter(const SystemAssetWriter&) = delete;
    SystemAssetWriter& operator=(const SystemAssetWriter&) = delete;

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
    struct Core;
    const std::shared_ptr<Core> core_;
};

/// Makes SystemAssetWriters.
class SystemAssetWriterFactory final : public AssetWriterFactory {
public:
    std::unique_ptr<AssetWriter> makeWriter(const std::string& path) override {
        return std::make_unique<SystemAssetWriter>(path);
    }
};

}  // namespace tapwell
