#include "Platform/Linux/PocketSphinxModel.h"

#include <fstream>
#include <string>
#include <system_error>
#include <utility>

namespace tapwell {

std::optional<PocketSphinxModel> PocketSphinxModel::find(const std::filesystem::path& folder) {
    if (folder.empty()) return std::nullopt;
    const PocketSphinxModel model{folder / "en-us" / "en-us", folder / "en-us" / "en-us.lm.bin",
                                  folder / "en-us" / "cmudict-en-us.dict"};
    std::error_code error;
    for (const auto& file : {model.acoustic / "mdef", model.language, model.dictionary})
        if (!std::filesystem::is_regular_file(file, error)) return std::nullopt;
    return model;
}

std::optional<std::filesystem::path> PocketSphinxModel::damagedFile() const {
    const std::pair<std::filesystem::path, std::string> beginnings[] = {
        {acoustic / "mdef", "BMDF"},
        {acoustic / "means", "s3\n"},
        {acoustic / "variances", "s3\n"},
        {acoustic / "transition_matrices", "s3\n"},
        {acoustic / "sendump", std::string("\x1e\0\0\0", 4)},
        {acoustic / "feat.params", "-"},
        {language, "Trie Language Model"},
    };
    for (const auto& [file, expected] : beginnings) {
        std::ifstream stream(file, std::ios::binary);
        std::string found(expected.size(), ' ');
        stream.read(found.data(), static_cast<std::streamsize>(found.size()));
        if (!stream || found != expected) return file;
    }
    return std::nullopt;
}

}  // namespace tapwell
