#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Linux/EncodingResources.h"

namespace tapwell {

/// Makes FfmpegAssetWriters. Any thread.
class FfmpegAssetWriterFactory final : public AssetWriterFactory {
public:
    /// As many encoders at once as there are processors, but no more than are worth their memory: a
    /// producer hardly keeps four of them busy.
    static unsigned defaultEncoderCount();

    /// Turns off the messages that FFmpeg's libraries print. `clock` must outlive the writers.
    explicit FfmpegAssetWriterFactory(const Clock& clock,
                                      unsigned encoderCount = defaultEncoderCount());

    std::unique_ptr<AssetWriter> makeWriter(const std::string& path) override;

private:
    const EncodingResources resources_;
};

}  // namespace tapwell
