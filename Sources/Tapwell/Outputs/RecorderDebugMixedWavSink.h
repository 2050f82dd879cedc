#pragma once

#include "Platform/Environment.h"
#include "Tapwell/Diagnostics/Log.h"

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

    /// `sampleRate` in Hz. `log` is for the area "debug-wav".
    RecorderDebugMixedWavSink(std::string path, std::uint32_t sampleRate, Log log);

    void appendMonoFloatSamples(std::span<const float> samples);

    /// Writes the file, readable by its owner only, in place of one that exists. Throws
    /// RecorderError when it cannot be written.
    void finalizeSync();

private:
    const std::string path_;
    const std::uint32_t sampleRate_;
    const Log log_;
    std::mutex lock_;
    std::vector<std::byte> pcmData_;  ///< guarded by lock_
};

}  // namespace tapwell
