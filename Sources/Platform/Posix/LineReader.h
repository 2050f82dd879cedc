#pragma once

#include "Platform/StandardStreams.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tapwell {

/// Cuts the bytes of a file descriptor into lines that end with "\n" until the input ends or a
/// second descriptor becomes readable. Not synchronised.
class LineReader {
public:
    /// Longest line that is kept, terminator not counted.
    static constexpr std::size_t kMaxLineBytes = std::size_t{64} << 20;

    /// Neither descriptor is taken over. `terminationDescriptor` is looked at before every line.
    LineReader(int inputDescriptor, int terminationDescriptor);

    StandardStreams::Input read();

private:
    enum class Wakeup { input, termination };

    Wakeup waitForInput() const;
    /// Fetches the next bytes into the empty chunk; false at the end of input.
    bool fetchChunk();
    /// Moves bytes from the chunk to the line, up to and with a terminator; true when it came.
    bool takeFromChunk();
    StandardStreams::Input takeLine();

    const int inputDescriptor_;
    const int terminationDescriptor_;
    std::vector<char> chunk_;
    std::size_t chunkBegin_ = 0;
    std::size_t chunkEnd_ = 0;
    std::string line_;
    bool isLineTooLong_ = false;
    bool hasPartialLine_ = false;
    bool hasEnded_ = false;
};

}  // namespace tapwell
