#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tapwell::test {

/// All of a file; a file that cannot be read fails the test.
std::vector<std::byte> readFileBytes(const std::string& path);
/// Makes or replaces a file.
void writeFileBytes(const std::string& path, std::span<const std::byte> bytes);

}  // namespace tapwell::test
