#include "Platform/Posix/PosixPrivateFile.h"

#include "Platform/Posix/FileOperations.h"

#include <unistd.h>

#include <system_error>

namespace tapwell {

PosixPrivateFile::PosixPrivateFile(std::string path) : path_(std::move(path)) {
    if (const int errorNumber = createForOwner(path_, descriptor_))
        throw error("create", errorNumber);
}

PosixPrivateFile::~PosixPrivateFile() {
    ::close(descriptor_);
}

void PosixPrivateFile::append(std::span<const std::byte> bytes) {
    if (const int errorNumber = writeAll(descriptor_, bytes, size_)) {
        // Should even this fail, the file has bytes at its end that nothing counts.
        (void)!::ftruncate(descriptor_, static_cast<off_t>(size_));
        throw error("write", errorNumber);
    }
    size_ += bytes.size();
}

void PosixPrivateFile::overwrite(std::uint64_t offset, std::span<const std::byte> bytes) {
    if (const int errorNumber = writeAll(descriptor_, bytes, offset))
        throw error("write", errorNumber);
}

RecorderError PosixPrivateFile::error(const std::string& action, int errorNumber) const {
    return RecorderError("POSIX", errorNumber,
                         "Cannot " + action + " file \"" + path_ +
                             "\": " + std::generic_category().message(errorNumber));
}

}  // namespace tapwell
