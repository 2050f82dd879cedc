#include "Platform/Linux/WhisperSegmentRecognizer.h"

#include "Platform/RecorderError.h"

namespace tapwell {

bool WhisperSegmentRecognizer::isBuiltIn() {
    return false;
}

std::unique_ptr<SegmentRecognizer> WhisperSegmentRecognizer::load(
    const std::filesystem::path& model, const std::string&) {
    throw RecorderError("Whisper", 1,
                        "the speech model " + model.string() +
                            " needs whisper.cpp, which this build does not have");
}

}  // namespace tapwell
