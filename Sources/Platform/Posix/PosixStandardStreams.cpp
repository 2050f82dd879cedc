#include "Platform/Posix/PosixStandardStreams.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace tapwell {
namespace {

/// False when the descriptor takes no more bytes, ever.
bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (written < 0 && errno == EAGAIN) {
            pollfd waiting{descriptor, POLLOUT, 0};
            poll(&waiting, 1, -1);
        } else if (written == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace

PosixStandardStreams::PosixStandardStreams()
    : PosixStandardStreams(STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO) {}

PosixStandardStreams::PosixStandardStreams(int inputDescriptor, int outputDescriptor,
                                           int errorDescriptor)
    : reader_(inputDescriptor, signals_.descriptor()),
      outputDescriptor_(outputDescriptor),
      errorWriter_(errorDescriptor) {}

StandardStreams::Input PosixStandardStreams::readLine() {
    return reader_.read();
}

void PosixStandardStreams::writeOutput(std::string_view bytes) {
    const std::lock_guard lock(outputMutex_);
    if (!isOutputClosed_) isOutputClosed_ = !writeAll(outputDescriptor_, bytes);
}

void PosixStandardStreams::writeError(std::string_view line) {
    errorWriter_.write(line);
}

}  // namespace tapwell
