#pragma once

#include <cstdint>
#include <string>

namespace tapwell {

/// The file of a finished recording, as it is on disk.
struct RecordedFile {
    std::string path;
    bool exists = false;
    std::int64_t sizeBytes = 0;  ///< 0 when it cannot be read

    static RecordedFile at(const std::string& path);

    /// For the log: `path=/a/b.m4a exists=true sizeBytes=7`.
    std::string description() const;
};

/// The path of a file called `name` in the directory of `outputPath`.
std::string besideOutput(const std::string& outputPath, const std::string& name);

}  // namespace tapwell
