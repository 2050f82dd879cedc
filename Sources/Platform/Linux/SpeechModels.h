#pragma once

#include "Platform/Environment.h"
#include "Platform/Linux/PocketSphinxModel.h"

#include <filesystem>
#include <optional>
#include <string>

namespace tapwell {

/// Which speech models there are on this machine. Any thread; looks at the disk at every call.
class SpeechModels {
public:
    /// `ggmlFolder`: where the user puts models of whisper.cpp. `pocketSphinxFolder`: where the
    /// US English model of PocketSphinx is installed. Each may be empty or missing.
    SpeechModels(std::filesystem::path ggmlFolder, std::filesystem::path pocketSphinxFolder)
        : ggmlFolder_(std::move(ggmlFolder)), pocketSphinxFolder_(std::move(pocketSphinxFolder)) {}

    /// Tapwell's "models" folder in the user's data folder, and the one that PocketSphinx was
    /// built to have its models in.
    static SpeechModels installed(const Environment& environment);

    /// The language of a locale: "en" of "en_US".
    static std::string language(const std::string& localeIdentifier);

    /// A model of the user's for the language, by its name: "ggml-<anything>.bin", those with
    /// ".en" in the name for English alone and preferred for it; of several, the first by name.
    std::optional<std::filesystem::path> findGgml(const std::string& localeIdentifier) const;

    /// For English of any region: absent for other languages, or when it is not installed.
    std::optional<PocketSphinxModel> findPocketSphinx(const std::string& localeIdentifier) const;

    /// Whether some engine of this build has a model for the locale.
    bool knows(const std::string& localeIdentifier) const;

private:
    std::filesystem::path ggmlFolder_;
    std::filesystem::path pocketSphinxFolder_;
};

}  // namespace tapwell
