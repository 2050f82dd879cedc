#pragma once

#include "Platform/AssetWriter.h"

namespace tapwell {

/// Makes FfmpegAssetWriters. Any thread.
class FfmpegAssetWriterFactory final : public AssetWriterFactory {
public:
    /// Turns off the messages that FFmpeg's libraries print.
    FfmpegAssetWriterFactory();

    std::unique_ptr<AssetWriter> makeWriter(const std::string& path) override;
};

}  // namespace tapwell
