#pragma once

#include "Platform/PrivateFile.h"
#include "Tapwell/Diagnostics/Log.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>

namespace tapwell {

/// Writes one WAV file: mono, 16-bit integer PCM. The header is brought up to date with every
/// write, so that the file is whole and true whenever the process ends. Any thread; operations
/// wait for one another.
class MonoPcm16WavFileWriter {
public:
    /// Gets the byte count of each write of samples, on the thread that wrote.
    using OnBytes = std::function<void(std::int64_t)>;

    /// `sampleRate` in Hz; `onBytes` may be empty. `log` gets the reason of a failed start.
    MonoPcm16WavFileWriter(PrivateFileFactory& files, std::string path, std::uint32_t sampleRate,
                           OnBytes onBytes, Log log);

    /// Creates the file, in place of one that exists. Does nothing when started. Throws
    /// RecorderError (code 80).
    void start();

    /// Appends samples in [-1, 1], and beyond, which is cut off. Does nothing when not started.
    /// Throws the first write's error, again and again. Ends the process where the file would
    /// exceed kMaximumWavFrames.
    void appendMonoFloatSync(std::span<const float> samples);
    /// Appends so many zeros; none for a count below 1. Otherwise as above.
    void appendSilenceSync(std::int64_t sampleCount);

    /// Frames in the file so far. Does not wait for a write that is under way.
    std::int64_t writtenPCMFrameCount() const { return dataByteCount_.load() / 2; }

    /// Closes the file. Does nothing when not started. Throws RecorderError (code 81, or the last
    /// write's); the samples are in the file then.
    void finalizeSync();

    const std::string& path() const { return path_; }

private:
    void write(std::span<const std::byte> bytes);
    void writeHeader(PrivateFile& file) const;

    PrivateFileFactory& files_;
    const std::string path_;
    const std::uint32_t sampleRate_;
    const OnBytes onBytes_;
    const Log log_;

    std::mutex mutex_;
    std::unique_ptr<PrivateFile> file_;  ///< guarded by mutex_, as what follows
    std::exception_ptr writeError_;
    bool started_ = false;
    std::atomic<std::uint32_t> dataByteCount_{0};  ///< written under mutex_
};

}  // namespace tapwell
