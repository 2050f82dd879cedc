#include "Tapwell/Control/RecordedFile.h"

#include "Tapwell/Diagnostics/TextFormat.h"

#include <filesystem>

namespace tapwell {

RecordedFile RecordedFile::at(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error) return {path, false, 0};
    return {path, true, static_cast<std::int64_t>(size)};
}

std::string RecordedFile::description() const {
    return "path=" + path + " exists=" + boolText(exists) +
           " sizeBytes=" + std::to_string(sizeBytes);
}

std::string besideOutput(const std::string& outputPath, const std::string& name) {
    return (std::filesystem::path(outputPath).parent_path() / name).string();
}

}  // namespace tapwell
