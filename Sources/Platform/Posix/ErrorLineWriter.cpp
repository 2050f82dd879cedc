#include "Platform/Posix/ErrorLineWriter.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

namespace tapwell {
namespace {

constexpr std::string_view kCutMark = "\u2026\n";

/// The first PIPE_BUF bytes, the mark included, without half a UTF-8 character before it.
std::string cutLine(std::string_view line) {
    std::size_t kept = PIPE_BUF - kCutMark.size();
    while (kept > 0 && (static_cast<unsigned char>(line[kept]) & 0xC0) == 0x80)
        --kept;
    return std::string(line.substr(0, kept)).append(kCutMark);
}

}  // namespace

void ErrorLineWriter::write(std::string_view line) {
    const std::lock_guard lock(mutex_);
    if (isClosed_ || line.empty()) return;
    if (droppedLines_ > 0 && !writeDroppedCount()) {
        ++droppedLines_;
        return;
    }
    const bool wasWritten = line.size() > PIPE_BUF ? writeIfRoom(cutLine(line)) : writeIfRoom(line);
    if (!wasWritten) ++droppedLines_;
}

bool ErrorLineWriter::writeDroppedCount() {
    if (!writeIfRoom("[Tapwell][log] " + std::to_string(droppedLines_) + " lines dropped\n"))
        return false;
    droppedLines_ = 0;
    return true;
}

bool ErrorLineWriter::writeIfRoom(std::string_view line) {
    while (!line.empty()) {
        // A pipe that is ready has room for PIPE_BUF bytes, hence the write does not block.
        pollfd ready{descriptor_, POLLOUT, 0};
        int readyCount = poll(&ready, 1, 0);
        while (readyCount < 0 && errno == EINTR)
            readyCount = poll(&ready, 1, 0);
        if (readyCount < 1) return false;
        const ssize_t written = ::write(descriptor_, line.data(), line.size());
        if (written > 0) {
            line.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno == EAGAIN) {
            return false;
        } else if (errno != EINTR) {
            isClosed_ = true;
            return false;
        }
    }
    return true;
}

}  // namespace tapwell
