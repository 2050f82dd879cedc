#include "Platform/Linux/RecordingFile.h"

#include "Platform/Posix/FileOperations.h"

#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

namespace tapwell {

RecordingFile::RecordingFile(std::string path) : path_(std::move(path)) {
    if (const int errorNumber = createForOwner(path_, descriptor_))
        throw error("create", errorNumber);
}

RecordingFile::~RecordingFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

void RecordingFile::append(std::span<const std::byte> bytes) {
    write(size_, bytes);
    size_ += bytes.size();
}

void RecordingFile::amend(std::uint64_t offset, std::span<const std::byte> bytes) {
    write(offset, bytes);
}

void RecordingFile::write(std::uint64_t offset, std::span<const std::byte> bytes) {
    const int errorNumber = writeAll(descriptor_, bytes, offset);
    if (errorNumber == 0) return;
    size_ = offset;
    // Should even this fail, what is left behind the offset is a box that readers pass over.
    (void)!::ftruncate(descriptor_, static_cast<off_t>(size_));
    throw error("write", errorNumber);
}

void RecordingFile::remove() {
    if (isAtPath()) ::unlink(path_.c_str());
}

bool RecordingFile::isAtPath() const {
    struct stat ours {};
    struct stat found {};
    return ::fstat(descriptor_, &ours) == 0 && ::lstat(path_.c_str(), &found) == 0 &&
           ours.st_dev == found.st_dev && ours.st_ino == found.st_ino;
}

RecorderError RecordingFile::error(const std::string& action, int errorNumber) const {
    return RecorderError("POSIX", errorNumber,
                         "Cannot " + action + " recording file \"" + path_ +
                             "\": " + std::generic_category().message(errorNumber));
}

}  // namespace tapwell
