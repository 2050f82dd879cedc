#include "Platform/Posix/FileOperations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace tapwell {

int createForOwner(const std::string& path, int& outDescriptor) {
    constexpr mode_t kOwnerOnly = 0600;
    do {
        outDescriptor = ::open(path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, kOwnerOnly);
    } while (outDescriptor < 0 && errno == EINTR);
    if (outDescriptor < 0) return errno;
    // An inherited access list can have changed the mode. File systems without modes refuse.
    (void)::fchmod(outDescriptor, kOwnerOnly);
    return 0;
}

int writeAll(int descriptor, std::span<const std::byte> bytes, std::uint64_t offset) {
    while (!bytes.empty()) {
        const ssize_t count =
            ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        if (count == 0) return EIO;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return 0;
}

int readFully(int descriptor, std::span<std::byte> bytes, std::uint64_t offset,
              std::size_t& outCount) {
    outCount = 0;
    while (outCount < bytes.size()) {
        const ssize_t count = ::pread(descriptor, bytes.data() + outCount, bytes.size() - outCount,
                                      static_cast<off_t>(offset + outCount));
        if (count < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        if (count == 0) break;
        outCount += static_cast<std::size_t>(count);
    }
    return 0;
}

}  // namespace tapwell
