#include "Support/FileBytes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace tapwell::test {

std::vector<std::byte> readFileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto bytes = std::as_bytes(std::span(text.data(), text.size()));
    return {bytes.begin(), bytes.end()};
}

void writeFileBytes(const std::string& path, std::span<const std::byte> bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(file.good()) << path;
}

}  // namespace tapwell::test
