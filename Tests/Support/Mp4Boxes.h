#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tapwell::test {

/// A box of an MPEG-4 file, with the boxes in it if its type is a container that we know.
class Mp4Box {
public:
    std::string type;
    std::uint64_t offset = 0;        ///< of the box in the file
    std::uint64_t size = 0;          ///< with its header
    std::vector<std::byte> content;  ///< without the header
    std::vector<Mp4Box> children;

    /// The first box at a path of types below this one, like "trak/mdia/mdhd"; fails the test and
    /// returns an empty box when there is none.
    const Mp4Box& at(std::string_view path) const;
    /// The same, null when there is none.
    const Mp4Box* find(std::string_view path) const;
    /// The boxes of one type directly below this one.
    std::vector<const Mp4Box*> all(std::string_view childType) const;

    std::uint32_t u16(std::size_t position) const;
    std::uint32_t u32(std::size_t position) const;
    std::uint64_t u64(std::size_t position) const;
    std::string text(std::size_t position, std::size_t length) const;
    std::uint8_t version() const { return static_cast<std::uint8_t>(u32(0) >> 24); }
    std::uint32_t flags() const { return u32(0) & 0xFFFFFF; }
};

/// The boxes of a file, as children of one without a type. A box that is cut short fails the test.
Mp4Box readMp4Boxes(std::span<const std::byte> file);
Mp4Box readMp4File(const std::string& path);

}  // namespace tapwell::test
