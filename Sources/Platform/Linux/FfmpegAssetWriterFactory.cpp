#include "Platform/Linux/FfmpegAssetWriterFactory.h"

#include "Platform/Linux/FfmpegAssetWriter.h"

#include <algorithm>
#include <thread>

extern "C" {
#include <libavutil/log.h>
}

namespace tapwell {

unsigned FfmpegAssetWriterFactory::defaultEncoderCount() {
    constexpr unsigned kMostEncoders = 4;
    return std::clamp(std::thread::hardware_concurrency(), 1U, kMostEncoders);
}

FfmpegAssetWriterFactory::FfmpegAssetWriterFactory(const Clock& clock, unsigned encoderCount)
    : resources_{clock, encoderCount} {
    // They would go to standard error in between the program's own lines.
    av_log_set_level(AV_LOG_QUIET);
}

std::unique_ptr<AssetWriter> FfmpegAssetWriterFactory::makeWriter(const std::string& path) {
    return std::make_unique<FfmpegAssetWriter>(path, resources_);
}

}  // namespace tapwell
