#include "Support/Mp4Boxes.h"

#include "Support/FileBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace tapwell::test {

namespace {

std::uint64_t bigEndian(std::span<const std::byte> bytes, std::size_t position, std::size_t count) {
    if (position + count > bytes.size()) {
        ADD_FAILURE() << "no " << count << " bytes at " << position << " of " << bytes.size();
        return 0;
    }
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value = value << 8 | std::to_integer<std::uint64_t>(bytes[position + i]);
    return value;
}

bool isContainer(const std::string& type) {
    constexpr std::array<std::string_view, 12> kContainers = {"moov", "trak", "edts", "mdia",
                                                              "minf", "dinf", "stbl", "mvex",
                                                              "moof", "traf", "udta", "ilst"};
    return std::ranges::find(kContainers, type) != kContainers.end();
}

std::vector<Mp4Box> readBoxes(std::span<const std::byte> bytes, std::uint64_t fileOffset) {
    std::vector<Mp4Box> boxes;
    std::size_t position = 0;
    while (position < bytes.size()) {
        std::uint64_t headerBytes = 8;
        std::uint64_t size = bigEndian(bytes, position, 4);
        if (size == 1) {
            headerBytes = 16;
            size = bigEndian(bytes, position + 8, 8);
        }
        if (size < headerBytes || size > bytes.size() - position) {
            ADD_FAILURE() << "box of " << size << " bytes at " << fileOffset + position;
            return boxes;
        }
        Mp4Box box;
        box.offset = fileOffset + position;
        box.size = size;
        const auto content = bytes.subspan(position + headerBytes, size - headerBytes);
        box.content.assign(content.begin(), content.end());
        for (std::size_t i = 4; i < 8; ++i)
            box.type.push_back(std::to_integer<char>(bytes[position + i]));
        if (isContainer(box.type)) box.children = readBoxes(content, box.offset + headerBytes);
        boxes.push_back(std::move(box));
        position += size;
    }
    return boxes;
}

}  // namespace

const Mp4Box* Mp4Box::find(std::string_view path) const {
    const std::string_view head = path.substr(0, path.find('/'));
    for (const Mp4Box& child : children) {
        if (child.type != head) continue;
        return head.size() == path.size() ? &child : child.find(path.substr(head.size() + 1));
    }
    return nullptr;
}

const Mp4Box& Mp4Box::at(std::string_view path) const {
    static const Mp4Box none;
    if (const Mp4Box* box = find(path)) return *box;
    ADD_FAILURE() << "no box " << path;
    return none;
}

std::vector<const Mp4Box*> Mp4Box::all(std::string_view childType) const {
    std::vector<const Mp4Box*> found;
    for (const Mp4Box& child : children)
        if (child.type == childType) found.push_back(&child);
    return found;
}

std::uint32_t Mp4Box::u16(std::size_t position) const {
    return static_cast<std::uint32_t>(bigEndian(content, position, 2));
}

std::uint32_t Mp4Box::u32(std::size_t position) const {
    return static_cast<std::uint32_t>(bigEndian(content, position, 4));
}

std::uint64_t Mp4Box::u64(std::size_t position) const {
    return bigEndian(content, position, 8);
}

std::string Mp4Box::text(std::size_t position, std::size_t length) const {
    if (position + length > content.size()) return {};
    return {reinterpret_cast<const char*>(content.data()) + position, length};
}

Mp4Box readMp4Boxes(std::span<const std::byte> file) {
    Mp4Box root;
    root.size = file.size();
    root.children = readBoxes(file, 0);
    return root;
}

Mp4Box readMp4File(const std::string& path) {
    return readMp4Boxes(readFileBytes(path));
}

}  // namespace tapwell::test
