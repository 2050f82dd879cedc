#include "Platform/Linux/PocketSphinxModel.h"

#include <system_error>

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

}  // namespace tapwell
