#pragma once

#include "Platform/Posix/ErrorLineWriter.h"
#include "Platform/Posix/LineReader.h"
#include "Platform/Posix/TerminationSignals.h"
#include "Platform/StandardStreams.h"

#include <mutex>

namespace tapwell {

/// Standard streams on file descriptors, which stay the caller's. While one lives, SIGINT, SIGTERM
/// and SIGHUP end the input instead of the process, and writing to a closed pipe or past the file
/// size limit is an error instead of a signal. One at a time in a process.
class PosixStandardStreams final : public StandardStreams {
public:
    /// The process's own streams.
    PosixStandardStreams();
    PosixStandardStreams(int inputDescriptor, int outputDescriptor, int errorDescriptor);

    /// A terminating signal goes before lines that are waiting, and stays: every later call answers
    /// `terminate` too. Lines of more than LineReader::kMaxLineBytes are returned as empty ones.
    Input readLine() override;
    void writeOutput(std::string_view bytes) override;
    /// Cuts a line to PIPE_BUF bytes, which a pipe takes whole or not at all.
    void writeError(std::string_view line) override;

private:
    TerminationSignals signals_;
    LineReader reader_;
    const int outputDescriptor_;
    std::mutex outputMutex_;
    bool isOutputClosed_ = false;  ///< guarded by outputMutex_
    ErrorLineWriter errorWriter_;
};

}  // namespace tapwell
