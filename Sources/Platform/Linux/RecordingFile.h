#pragma once

#include "Platform/RecorderError.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace tapwell {

/// The file of a recording, from its creation on: owns the descriptor and knows whether the path
/// still names it. One thread at a time.
class RecordingFile {
public:
    /// Creates the file for its owner only. Throws RecorderError when it exists or cannot be made.
    explicit RecordingFile(std::string path);
    ~RecordingFile();
    RecordingFile(const RecordingFile&) = delete;
    RecordingFile& operator=(const RecordingFile&) = delete;

    /// Appends all of `bytes`, or nothing: on failure takes back what was written of them and
    /// throws RecorderError.
    void append(std::span<const std::byte> bytes);

    /// Overwrites bytes within what was appended last, from `offset`; on failure takes back
    /// everything from there on and throws RecorderError.
    void amend(std::uint64_t offset, std::span<const std::byte> bytes);

    /// Removes the path if it still names this file. Failure is ignored.
    void remove();

    /// Whether the path still names this file.
    bool isAtPath() const;

    const std::string& path() const { return path_; }
    int descriptor() const { return descriptor_; }
    std::uint64_t size() const { return size_; }

    /// The error of domain "POSIX" for a failed `action` ("write"), with a description like
    /// `Cannot write recording file "/a/b.m4a": No space left on device`.
    RecorderError error(const std::string& action, int errorNumber) const;

private:
    void write(std::uint64_t offset, std::span<const std::byte> bytes);

    std::string path_;
    int descriptor_ = -1;
    std::uint64_t size_ = 0;
};

}  // namespace tapwell
