#pragma once

#include <string>
#include <vector>

namespace tapwell::testing {

/// A new directory, removed with its contents in the end.
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    /// The names in the directory, sorted, hidden ones too.
    std::vector<std::string> names() const;

private:
    std::string path_;
};

}  // namespace tapwell::testing
