#include "Platform/Simulated/SimulatedPrivateFile.h"

#include "Platform/RecorderError.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace tapwell {
namespace {

class SimulatedPrivateFile final : public PrivateFile {
public:
    SimulatedPrivateFile(SimulatedPrivateFileFactory& disk, const std::string& path)
        : disk_(disk), path_(path), file_(path, std::ios::binary | std::ios::trunc) {
        if (!file_) throw RecorderError("Simulated", 2, "cannot create " + path);
    }

    /// A hole at the end becomes part of the file.
    ~SimulatedPrivateFile() override {
        file_.close();
        std::error_code ignored;
        if (std::filesystem::exists(path_, ignored))
            std::filesystem::resize_file(path_, size_, ignored);
    }

    void append(std::span<const std::byte> bytes) override {
        if (bytes.size() > disk_.bytesLeft)
            throw RecorderError("Simulated", 28, "no space left for " + path_);
        disk_.bytesLeft -= bytes.size();
        if (std::ranges::any_of(bytes, [](std::byte b) { return b != std::byte{}; }))
            write(size_, bytes);
        size_ += bytes.size();
    }

    void overwrite(std::uint64_t offset, std::span<const std::byte> bytes) override {
        write(offset, bytes);
    }

private:
    void write(std::uint64_t offset, std::span<const std::byte> bytes) {
        file_.seekp(static_cast<std::streamoff>(offset));
        file_.write(reinterpret_cast<const char*>(bytes.data()),
                    static_cast<std::streamsize>(bytes.size()));
        file_.flush();
    }

    SimulatedPrivateFileFactory& disk_;
    const std::string path_;
    std::ofstream file_;
    std::uint64_t size_ = 0;
};

}  // namespace

std::unique_ptr<PrivateFile> SimulatedPrivateFileFactory::createFile(const std::string& path) {
    if (std::filesystem::exists(path)) throw RecorderError("Simulated", 17, "there is " + path);
    if (std::ranges::any_of(refused, [&path](const std::string& part) {
            return path.find(part) != std::string::npos;
        }))
        throw RecorderError("Simulated", 13, "cannot create " + path);
    return std::make_unique<SimulatedPrivateFile>(*this, path);
}

}  // namespace tapwell
