#include "Tapwell/Control/DualTrackCaptureFiles.h"

#include "Platform/RecorderError.h"
#include "Tapwell/Control/RecordedFile.h"

#include <filesystem>

namespace tapwell {
namespace {

namespace fs = std::filesystem;

/// `/a/.capture_mic.wav` as `/a/.capture_mic.left-over-2.wav`.
fs::path leftOverName(const fs::path& path, int number) {
    return path.parent_path() / (path.stem().string() + ".left-over-" + std::to_string(number) +
                                 path.extension().string());
}

/// Whether there is something, be it a link that leads nowhere.
bool isTaken(const fs::path& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}

void setAside(const fs::path& path, int number, const Log& log) {
    if (!isTaken(path)) return;
    const fs::path name = leftOverName(path, number);
    std::error_code error;
    fs::rename(path, name, error);
    if (error)
        throw RecorderError("POSIX", error.value(),
                            "Cannot set aside \"" + path.string() +
                                "\", left over from a recording that was not finished: " +
                                error.message() + ". Move it elsewhere and start again.");
    log.line("dual-track: \"" + path.string() +
             "\" is left over from a recording that was not merged; kept as \"" + name.string() +
             "\"");
}

}  // namespace

DualTrackCaptureFiles DualTrackCaptureFiles::besideOutput(const std::string& outputPath) {
    return {{tapwell::besideOutput(outputPath, ".capture_system.wav"),
             tapwell::besideOutput(outputPath, ".capture_mic.wav")}};
}

void DualTrackCaptureFiles::setAsideLeftOvers(const Log& log) const {
    // One number for both, so that they are seen to belong together.
    int number = 1;
    while (isTaken(leftOverName(paths.systemWav, number)) ||
           isTaken(leftOverName(paths.micWav, number)))
        ++number;
    setAside(paths.systemWav, number, log);
    setAside(paths.micWav, number, log);
}

void DualTrackCaptureFiles::remove() const {
    std::error_code ignored;
    fs::remove(paths.systemWav, ignored);
    fs::remove(paths.micWav, ignored);
}

}  // namespace tapwell
