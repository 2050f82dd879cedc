#include "Support/TemporaryDirectory.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace tapwell::test {

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tapwell-test.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> TemporaryDirectory::names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
        names.push_back(entry.path().filename().string());
    std::ranges::sort(names);
    return names;
}

}  // namespace tapwell::test
