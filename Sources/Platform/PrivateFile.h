#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tapwell {

/// A file that is being written, readable and writable by its owner only. Closed when destroyed.
/// One thread at a time.
class PrivateFile {
public:
    virtual ~PrivateFile() = default;

    /// Appends all of `bytes`, which reach the file before this returns, so that they outlive the
    /// process; or nothing: then throws RecorderError, with the path and the reason.
    virtual void append(std::span<const std::byte> bytes) = 0;

    /// Replaces bytes that are there already, from `offset`. Throws RecorderError.
    virtual void overwrite(std::uint64_t offset, std::span<const std::byte> bytes) = 0;
};

/// Makes files. Any thread.
class PrivateFileFactory {
public:
    virtual ~PrivateFileFactory() = default;

    /// Creates an empty file. Throws RecorderError, with a description that names the path and the
    /// reason, when it exists already or cannot be made.
    virtual std::unique_ptr<PrivateFile> createFile(const std::string& path) = 0;
};

}  // namespace tapwell
