#include "Platform/Linux/Mp4Finisher.h"

#include "Platform/Posix/FileOperations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace tapwell {

namespace {

constexpr mode_t kOwnerOnly = 0600;
constexpr std::size_t kBoxHeaderBytes = 8;

std::uint32_t boxSizeAt(const std::byte* bytes) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value = value << 8 | std::to_integer<std::uint32_t>(bytes[i]);
    return value;
}

std::string descriptorLink(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

std::string directoryOf(const std::string& path) {
    const std::string directory = std::filesystem::path(path).parent_path().string();
    return directory.empty() ? "." : directory;
}

}  // namespace

Mp4Finisher::~Mp4Finisher() {
    if (copy_ >= 0) ::close(copy_);
    if (!copyPath_.empty()) ::unlink(copyPath_.c_str());
}

void Mp4Finisher::finish() {
    openCopy();
    writeCopy();
    nameCopy();
    replaceRecording();
}

void Mp4Finisher::fail(int errorNumber) const {
    throw file_.error("finish", errorNumber);
}

void Mp4Finisher::openCopy() {
    // A file without a name vanishes by itself if the process is killed while copying. Not every
    // file system has them, and giving them a name needs /proc.
    copy_ = ::open(directoryOf(file_.path()).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, kOwnerOnly);
    if (copy_ >= 0 && ::access(descriptorLink(copy_).c_str(), F_OK) != 0) {
        ::close(copy_);
        copy_ = -1;
    }
    if (copy_ < 0) openNamedCopy();
    (void)::fchmod(copy_, kOwnerOnly);
}

void Mp4Finisher::openNamedCopy() {
    const std::string path = hiddenName();
    copy_ = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, kOwnerOnly);
    if (copy_ < 0) fail(errno);
    copyPath_ = path;
}

std::string Mp4Finisher::hiddenName() const {
    constexpr std::size_t kLongestStem = 200;  // names end at 255 bytes
    static std::atomic<unsigned> count{0};
    const std::filesystem::path path(file_.path());
    const std::string stem = path.filename().string().substr(0, kLongestStem);
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return directoryOf(file_.path()) + "/." + stem + "." + std::to_string(::getpid()) + "-" +
           std::to_string(now.tv_nsec) + "-" + std::to_string(++count) + ".finishing";
}

void Mp4Finisher::writeCopy() {
    std::uint64_t offset = 0;
    {
        const std::vector<std::byte> header =
            fragments_.layout().finishedHeader(fragments_.packetSizes(), frameCount_);
        if (const int errorNumber = writeAll(copy_, header, 0); errorNumber != 0) fail(errorNumber);
        offset = header.size();
    }
    std::uint64_t expectedBytes = 0;
    for (const std::uint16_t size : fragments_.packetSizes())
        expectedBytes += size;
    // Somebody else changed the file: an index to it would lie.
    if (copyPackets(offset) != expectedBytes) fail(EIO);

    if (::fsync(copy_) != 0 && errno != EINVAL) fail(errno);
}

/// Copies the contents of all mdat boxes to `targetOffset` and returns their bytes. Works on whole
/// boxes in a buffer, closing the gaps between their contents in place.
std::uint64_t Mp4Finisher::copyPackets(std::uint64_t targetOffset) {
    constexpr std::size_t kBufferBytes = 128 * 1024;  // many times the largest fragment
    std::vector<std::byte> buffer(kBufferBytes);
    std::uint64_t copiedBytes = 0;
    std::uint64_t source = fragments_.headerBytes();
    while (source < file_.size()) {
        std::size_t count = 0;
        if (const int errorNumber = readFully(file_.descriptor(), buffer, source, count);
            errorNumber != 0)
            fail(errorNumber);
        std::size_t position = 0;
        std::size_t kept = 0;
        while (position + kBoxHeaderBytes <= count) {
            const std::byte* box = buffer.data() + position;
            const std::size_t boxBytes = boxSizeAt(box);
            if (boxBytes < kBoxHeaderBytes || boxBytes > count - position) break;
            if (std::memcmp(box + 4, "mdat", 4) == 0) {
                std::memmove(buffer.data() + kept, box + kBoxHeaderBytes,
                             boxBytes - kBoxHeaderBytes);
                kept += boxBytes - kBoxHeaderBytes;
            }
            position += boxBytes;
        }
        if (position == 0) fail(EIO);  // no whole box where one must be
        const std::span<const std::byte> packets(buffer.data(), kept);
        if (const int errorNumber = writeAll(copy_, packets, targetOffset + copiedBytes);
            errorNumber != 0)
            fail(errorNumber);
        copiedBytes += kept;
        source += position;
    }
    return copiedBytes;
}

void Mp4Finisher::nameCopy() {
    if (!copyPath_.empty()) return;
    const std::string path = hiddenName();
    if (::linkat(AT_FDCWD, descriptorLink(copy_).c_str(), AT_FDCWD, path.c_str(),
                 AT_SYMLINK_FOLLOW) != 0)
        fail(errno);
    copyPath_ = path;
}

void Mp4Finisher::replaceRecording() {
    // The path may name another file by now, or none: never overwrite what is not ours.
    if (file_.isAtPath()) {
        if (::rename(copyPath_.c_str(), file_.path().c_str()) != 0) fail(errno);
        copyPath_.clear();
    } else if (::link(copyPath_.c_str(), file_.path().c_str()) != 0) {
        fail(errno);
    }
}

}  // namespace tapwell
