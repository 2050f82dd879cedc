#pragma once

#include "Platform/Environment.h"
#include "Platform/PrivateFile.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/Outputs/WavHeader.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace tapwell {

/// Keeps the mono mix in memory, two bytes a sample, and writes it as a WAV file at the end. For
/// diagnosis alone. Any thread.
class RecorderDebugMixedWavSink {
public:
    /// Whether the user wants one, by `TL_RECORDER_DEBUG_WAV`.
    static bool shouldRecordDebugWav(const Environment& environment);

    /// `sampleRate` in Hz. `log` is for the area "debug-wav". What is beyond `maximumBytes` is not
    /// kept, nor what there is no memory for.
    RecorderDebugMixedWavSink(PrivateFileFactory& files, std::string path, std::uint32_t sampleRate,
                              Log log, std::size_t maximumBytes = 2 * kMaximumWavFrames);

    void appendMonoFloatSamples(std::span<const float> samples);

    /// Writes the file, readable by its owner only, in place of one that exists. Throws
    /// RecorderError when it cannot be written.
    void finalizeSync();

private:
    bool keep(const std::vector<std::byte>& bytes);

    PrivateFileFactory& files_;
    const std::string path_;
    const std::uint32_t sampleRate_;
    const Log log_;
    const std::size_t maximumBytes_;
    std::mutex lock_;
    std::vector<std::byte> pcmData_;  ///< guarded by lock_
    bool isFull_ = false;             ///< guarded by lock_
};

}  // namespace tapwell
