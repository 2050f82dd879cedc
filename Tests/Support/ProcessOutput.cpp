#include "Support/ProcessOutput.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

namespace tapwell::test {

ProcessOutput::ProcessOutput(int descriptor)
    : descriptor_(descriptor), wakeUpDescriptor_(eventfd(0, EFD_CLOEXEC)) {
    reader_ = std::thread([this] { readAll(); });
}

ProcessOutput::~ProcessOutput() {
    close();
    ::close(wakeUpDescriptor_);
}

void ProcessOutput::readAll() {
    std::array<char, 65536> buffer{};
    for (;;) {
        std::array<pollfd, 2> descriptors{pollfd{descriptor_, POLLIN, 0},
                                          pollfd{wakeUpDescriptor_, POLLIN, 0}};
        if (poll(descriptors.data(), descriptors.size(), -1) < 0 && errno == EINTR) continue;
        if (descriptors[1].revents != 0) break;
        const ssize_t count = read(descriptor_, buffer.data(), buffer.size());
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (count <= 0) break;
        const std::lock_guard lock(mutex_);
        text_.append(buffer.data(), static_cast<std::size_t>(count));
        changed_.notify_all();
    }
    ::close(descriptor_);
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

std::string ProcessOutput::text() const {
    const std::lock_guard lock(mutex_);
    return text_;
}

bool ProcessOutput::takeLine(std::string& line, std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    std::size_t end = std::string::npos;
    changed_.wait_until(lock, deadline, [&] {
        end = text_.find('\n', taken_);
        return end != std::string::npos || ended_;
    });
    if (end == std::string::npos) return false;
    line = text_.substr(taken_, end - taken_);
    taken_ = end + 1;
    return true;
}

bool ProcessOutput::waitForEnd(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    return changed_.wait_until(lock, deadline, [&] { return ended_; });
}

bool ProcessOutput::waitForText(const std::string& part,
                                std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    const auto holdsPart = [&] { return text_.find(part) != std::string::npos; };
    changed_.wait_until(lock, deadline, [&] { return holdsPart() || ended_; });
    return holdsPart();
}

void ProcessOutput::close() {
    if (!reader_.joinable()) return;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t count = write(wakeUpDescriptor_, &one, sizeof one);
    reader_.join();
}

}  // namespace tapwell::test
