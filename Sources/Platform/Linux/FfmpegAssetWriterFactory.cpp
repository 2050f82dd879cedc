#include "Platform/Linux/FfmpegAssetWriterFactory.h"

#include "Platform/Linux/FfmpegAssetWriter.h"

extern "C" {
#include <libavutil/log.h>
}

namespace tapwell {

FfmpegAssetWriterFactory::FfmpegAssetWriterFactory() {
    // They would go to standard error in between the program's own lines.
    av_log_set_level(AV_LOG_QUIET);
}

std::unique_ptr<AssetWriter> FfmpegAssetWriterFactory::makeWriter(const std::string& path) {
    return std::make_unique<FfmpegAssetWriter>(path);
}

}  // namespace tapwell
