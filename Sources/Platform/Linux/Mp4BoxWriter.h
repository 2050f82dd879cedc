#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>
#include <vector>

namespace tapwell {

/// Builds MPEG-4 boxes in memory: big-endian fields, and box sizes filled in when a box closes.
/// Not thread-safe.
class Mp4BoxWriter {
public:
    /// What a field of 32 bits can hold.
    static constexpr std::uint64_t kMax32 = std::numeric_limits<std::uint32_t>::max();

    /// Writes a box around whatever `body` writes.
    template <typename Body>
    void box(const char (&type)[5], Body&& body) {
        const std::size_t start = open(type);
        body();
        close(start);
    }
    /// The same for a box that has a version and 24 bits of flags.
    template <typename Body>
    void fullBox(const char (&type)[5], std::uint8_t version, std::uint32_t flags, Body&& body) {
        const std::size_t start = open(type);
        u32(static_cast<std::uint32_t>(version) << 24 | flags);
        body();
        close(start);
    }

    void u8(std::uint8_t value) { bytes_.push_back(static_cast<std::byte>(value)); }
    void u16(std::uint32_t value) { number(value, 2); }
    void u24(std::uint32_t value) { number(value, 3); }
    void u32(std::uint64_t value) { number(value, 4); }
    void u64(std::uint64_t value) { number(value, 8); }
    /// 64 bits in boxes of version 1, else 32.
    void u32or64(std::uint8_t version, std::uint64_t value) { number(value, version == 1 ? 8 : 4); }
    void zeros(std::size_t count) { bytes_.resize(bytes_.size() + count); }
    void text(std::string_view characters);
    void append(std::span<const std::byte> data);

    /// Replaces bytes that were written before.
    void overwrite(std::size_t position, std::span<const std::byte> data);

    std::size_t size() const { return bytes_.size(); }
    std::span<const std::byte> bytes() const { return bytes_; }
    /// Empties the writer and keeps its memory.
    void clear() { bytes_.clear(); }
    std::vector<std::byte> take() { return std::move(bytes_); }

private:
    std::size_t open(const char (&type)[5]);
    void close(std::size_t start);
    void number(std::uint64_t value, int byteCount);

    std::vector<std::byte> bytes_;
};

}  // namespace tapwell
