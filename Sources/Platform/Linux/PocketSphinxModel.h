#pragma once

#include <filesystem>
#include <optional>

namespace tapwell {

/// The files of a US English model as Debian's package pocketsphinx-en-us lays them out.
struct PocketSphinxModel {
    std::filesystem::path acoustic;  ///< a folder
    std::filesystem::path language;
    std::filesystem::path dictionary;

    /// The model below `folder`; absent when one of its files is.
    static std::optional<PocketSphinxModel> find(const std::filesystem::path& folder);
};

}  // namespace tapwell
