#pragma once

#include "Platform/PrivateFile.h"
#include "Platform/RecorderError.h"

namespace tapwell {

/// A file that is written straight to the kernel, with no buffer of our own to lose.
class PosixPrivateFile final : public PrivateFile {
public:
    /// Creates the file. Throws RecorderError of domain "POSIX".
    explicit PosixPrivateFile(std::string path);
    ~PosixPrivateFile() override;
    PosixPrivateFile(const PosixPrivateFile&) = delete;
    PosixPrivateFile& operator=(const PosixPrivateFile&) = delete;

    void append(std::span<const std::byte> bytes) override;
    void overwrite(std::uint64_t offset, std::span<const std::byte> bytes) override;

private:
    RecorderError error(const std::string& action, int errorNumber) const;

    const std::string path_;
    int descriptor_ = -1;
    std::uint64_t size_ = 0;
};

/// Makes PosixPrivateFiles.
class PosixPrivateFileFactory final : public PrivateFileFactory {
public:
    std::unique_ptr<PrivateFile> createFile(const std::string& path) override {
        return std::make_unique<PosixPrivateFile>(path);
    }
};

}  // namespace tapwell
