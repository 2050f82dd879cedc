#pragma once

#include <filesystem>

namespace tapwell {

/// A model file of whisper.cpp, seen from outside.
struct GgmlFile {
    /// Whether the file has whisper.cpp's magic and holds every part that its own lengths announce,
    /// to the byte. The library reads past a file's end without noticing. Looks at the lengths, not
    /// at the contents.
    static bool isComplete(const std::filesystem::path& file);
};

}  // namespace tapwell
