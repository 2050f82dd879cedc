#include "Platform/Linux/SpeechModels.h"

#include "Platform/Linux/WhisperSegmentRecognizer.h"
#include "Platform/Linux/XdgFolders.h"

#include <algorithm>
#include <system_error>
#include <utility>
#include <vector>

namespace tapwell {
namespace {

namespace fs = std::filesystem;

bool isGgmlName(const std::string& name) {
    return name.starts_with("ggml-") && name.ends_with(".bin");
}

bool isEnglishOnly(const std::string& name) {
    return name.find(".en") != std::string::npos;
}

}  // namespace

SpeechModels SpeechModels::installed(const Environment& environment) {
    const fs::path data = tapwellDataFolder(environment);
    return SpeechModels(data.empty() ? data : data / "models", TAPWELL_POCKETSPHINX_MODELS);
}

std::string SpeechModels::language(const std::string& localeIdentifier) {
    return localeIdentifier.substr(0, localeIdentifier.find_first_of("_-@"));
}

std::optional<fs::path> SpeechModels::findGgml(const std::string& localeIdentifier) const {
    if (ggmlFolder_.empty()) return std::nullopt;
    const bool isEnglish = language(localeIdentifier) == "en";
    std::vector<std::pair<bool, std::string>> candidates;  // the preferred sort first
    std::error_code error;
    for (fs::directory_iterator entry(ggmlFolder_, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (!isGgmlName(name) || (isEnglishOnly(name) && !isEnglish)) continue;
        candidates.emplace_back(isEnglish && !isEnglishOnly(name), name);
    }
    if (candidates.empty()) return std::nullopt;
    return ggmlFolder_ / std::min_element(candidates.begin(), candidates.end())->second;
}

std::optional<PocketSphinxModel> SpeechModels::findPocketSphinx(
    const std::string& localeIdentifier) const {
    if (language(localeIdentifier) != "en") return std::nullopt;
    return PocketSphinxModel::find(pocketSphinxFolder_);
}

bool SpeechModels::knows(const std::string& localeIdentifier) const {
    return findPocketSphinx(localeIdentifier).has_value() ||
           (WhisperSegmentRecognizer::isBuiltIn() && findGgml(localeIdentifier).has_value());
}

}  // namespace tapwell
