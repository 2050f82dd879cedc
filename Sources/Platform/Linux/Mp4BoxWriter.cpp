#include "Platform/Linux/Mp4BoxWriter.h"

#include <algorithm>

namespace tapwell {

void Mp4BoxWriter::text(std::string_view characters) {
    append(std::as_bytes(std::span(characters.data(), characters.size())));
}

void Mp4BoxWriter::append(std::span<const std::byte> data) {
    bytes_.insert(bytes_.end(), data.begin(), data.end());
}

void Mp4BoxWriter::overwrite(std::size_t position, std::span<const std::byte> data) {
    std::ranges::copy(data, bytes_.begin() + static_cast<std::ptrdiff_t>(position));
}

std::size_t Mp4BoxWriter::open(const char (&type)[5]) {
    const std::size_t start = bytes_.size();
    zeros(4);
    text(std::string_view(type, 4));
    return start;
}

void Mp4BoxWriter::close(std::size_t start) {
    const std::size_t boxSize = bytes_.size() - start;
    for (std::size_t i = 0; i < 4; ++i)
        bytes_[start + i] = static_cast<std::byte>(boxSize >> (24 - 8 * i));
}

void Mp4BoxWriter::number(std::uint64_t value, int byteCount) {
    for (int shift = 8 * (byteCount - 1); shift >= 0; shift -= 8)
        bytes_.push_back(static_cast<std::byte>(value >> shift));
}

}  // namespace tapwell
