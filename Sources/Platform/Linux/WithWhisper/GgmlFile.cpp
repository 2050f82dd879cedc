#include "Platform/Linux/WithWhisper/GgmlFile.h"

#include <ggml.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <system_error>

namespace tapwell {
namespace {

constexpr std::uint32_t kMagic = 0x67676D6C;
constexpr std::size_t kSizesInHeader = 11;
constexpr std::size_t kMelsIndex = 9;
constexpr std::int32_t kMostDimensions = 4;
constexpr std::int32_t kMostMels = 1024;
constexpr std::int64_t kLargestDimension = 1 << 24;

/// The parts of a file, in their order. Each function is false when the part is cut or absurd.
class Reader {
public:
    explicit Reader(const std::filesystem::path& path) : stream_(path, std::ios::binary) {
        std::error_code error;
        size_ = std::filesystem::file_size(path, error);
        if (error) size_ = 0;
    }

    bool header() {
        std::uint32_t magic = 0;
        std::array<std::int32_t, kSizesInHeader> sizes{};
        return read(magic) && magic == kMagic && read(sizes) && sizes[kMelsIndex] > 0;
    }
    bool filters() {
        std::array<std::int32_t, 2> sizes{};
        return read(sizes) && sizes[0] > 0 && sizes[0] <= kMostMels && sizes[1] > 0 &&
               sizes[1] <= kMostMels &&
               skip(static_cast<std::uint64_t>(sizes[0]) * static_cast<std::uint64_t>(sizes[1]) *
                    sizeof(float));
    }
    bool vocabulary() {
        std::int32_t words = 0;
        if (!read(words) || words < 0) return false;
        for (std::int32_t i = 0; i < words; ++i) {
            std::uint32_t length = 0;
            if (!read(length) || !skip(length)) return false;
        }
        return true;
    }
    bool tensor() {
        std::int32_t dimensions = 0;
        std::int32_t nameLength = 0;
        std::int32_t type = 0;
        if (!read(dimensions) || !read(nameLength) || !read(type)) return false;
        if (dimensions < 1 || dimensions > kMostDimensions || nameLength < 0) return false;
        if (type < 0 || type >= GGML_TYPE_COUNT) return false;
        const auto ggmlType = static_cast<ggml_type>(type);
        if (ggml_blck_size(ggmlType) == 0) return false;  // a number that is no longer in use
        std::uint64_t rows = 1;
        std::int32_t first = 0;
        for (std::int32_t i = 0; i < dimensions; ++i) {
            std::int32_t dimension = 0;
            if (!read(dimension) || dimension < 1 || dimension > kLargestDimension) return false;
            if (i == 0)
                first = dimension;
            else if (rows > UINT64_MAX / kLargestDimension)
                return false;
            else
                rows *= static_cast<std::uint64_t>(dimension);
        }
        const std::uint64_t rowSize = ggml_row_size(ggmlType, first);
        if (rows > size_) return false;
        return skip(static_cast<std::uint64_t>(nameLength)) && skip(rows * rowSize);
    }
    bool isAtEnd() const { return position_ == size_; }

private:
    template <typename Value>
    bool read(Value& value) {
        if (size_ - position_ < sizeof value) return false;
        stream_.read(reinterpret_cast<char*>(&value), sizeof value);
        position_ += sizeof value;
        return static_cast<bool>(stream_);
    }
    bool skip(std::uint64_t bytes) {
        if (size_ - position_ < bytes) return false;
        position_ += bytes;
        // Reading on is quicker than seeking, which drops the stream's buffer.
        if (bytes < 4096)
            stream_.ignore(static_cast<std::streamsize>(bytes));
        else
            stream_.seekg(static_cast<std::streamoff>(position_));
        return static_cast<bool>(stream_);
    }

    std::ifstream stream_;
    std::uint64_t size_ = 0;
    std::uint64_t position_ = 0;
};

}  // namespace

bool GgmlFile::isComplete(const std::filesystem::path& file) {
    Reader reader(file);
    if (!reader.header() || !reader.filters() || !reader.vocabulary() || reader.isAtEnd())
        return false;
    while (!reader.isAtEnd())
        if (!reader.tensor()) return false;
    return true;
}

}  // namespace tapwell
