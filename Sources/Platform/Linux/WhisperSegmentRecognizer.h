#pragma once

#include "Platform/Linux/SegmentRecognizer.h"

#include <filesystem>
#include <memory>
#include <string>

namespace tapwell {

/// Recognition by whisper.cpp, where the program was built with it.
struct WhisperSegmentRecognizer {
    static bool isBuiltIn();

    /// Loads a ggml model, which may take seconds. `language`: such as "en". Throws RecorderError
    /// naming the file when it is missing, broken or knows the language not, and when whisper.cpp
    /// is not built in.
    static std::unique_ptr<SegmentRecognizer> load(const std::filesystem::path& model,
                                                   const std::string& language);
};

}  // namespace tapwell
