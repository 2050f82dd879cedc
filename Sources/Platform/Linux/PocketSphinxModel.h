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

    /// The first file that does not begin as a file of its kind does, if any. The library ends the
    /// process over some such files, hence this look before it reads them.
    std::optional<std::filesystem::path> damagedFile() const;
};

}  // namespace tapwell
