#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tapwell::test {

/// A fresh directory that goes away with the object, and all that is in it.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    /// The path of a file in the directory, as text.
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    /// The names in the directory, sorted, hidden ones too.
    std::vector<std::string> names() const;

private:
    std::filesystem::path path_;
};

}  // namespace tapwell::test
