#include "Platform/Posix/LineReader.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tapwell {
namespace {

constexpr std::size_t kChunkBytes = std::size_t{64} << 10;

}  // namespace

LineReader::LineReader(int inputDescriptor, int terminationDescriptor)
    : inputDescriptor_(inputDescriptor),
      terminationDescriptor_(terminationDescriptor),
      chunk_(kChunkBytes) {}

StandardStreams::Input LineReader::read() {
    using Status = StandardStreams::InputStatus;
    while (true) {
        const bool hasBytes = chunkBegin_ < chunkEnd_;
        pollfd termination{terminationDescriptor_, POLLIN, 0};
        if (poll(&termination, 1, 0) > 0) return {Status::terminate, {}};
        if (hasBytes) {
            if (takeFromChunk()) return takeLine();
            continue;
        }
        if (hasEnded_) return hasPartialLine_ ? takeLine() : StandardStreams::Input{};
        if (waitForInput() == Wakeup::termination) return {Status::terminate, {}};
        hasEnded_ = !fetchChunk();
    }
}

LineReader::Wakeup LineReader::waitForInput() const {
    pollfd waiting[] = {{inputDescriptor_, POLLIN, 0}, {terminationDescriptor_, POLLIN, 0}};
    while (poll(waiting, 2, -1) < 0 && errno == EINTR)
        continue;
    return waiting[1].revents != 0 ? Wakeup::termination : Wakeup::input;
}

bool LineReader::fetchChunk() {
    const ssize_t count = ::read(inputDescriptor_, chunk_.data(), chunk_.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return true;
    chunkBegin_ = 0;
    chunkEnd_ = count > 0 ? static_cast<std::size_t>(count) : 0;
    return count > 0;
}

bool LineReader::takeFromChunk() {
    const auto begin = chunk_.begin() + static_cast<std::ptrdiff_t>(chunkBegin_);
    const auto end = chunk_.begin() + static_cast<std::ptrdiff_t>(chunkEnd_);
    const auto terminator = std::find(begin, end, '\n');
    const auto bytes = static_cast<std::size_t>(terminator - begin);
    if (line_.size() + bytes > kMaxLineBytes) {
        isLineTooLong_ = true;
        line_ = std::string();
    }
    if (!isLineTooLong_) line_.append(begin, terminator);
    const bool isComplete = terminator != end;
    hasPartialLine_ = !isComplete;
    chunkBegin_ += bytes + (isComplete ? 1 : 0);
    return isComplete;
}

StandardStreams::Input LineReader::takeLine() {
    hasPartialLine_ = false;
    isLineTooLong_ = false;
    return {StandardStreams::InputStatus::line, std::exchange(line_, std::string())};
}

}  // namespace tapwell
