#pragma once

#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

namespace tapwell {

/// Reads a RIFF/WAVE file of 16-bit integer PCM, block by block. One thread at a time.
class MonoPcm16WavReader {
public:
    /// Opens the file. Throws RecorderError: of domain "POSIX" when it cannot be opened, else code
    /// 91 (too small), 92 (no WAVE file) or 93 (no chunks that say what and where the samples
    /// are, or a format other than 16-bit integer PCM).
    explicit MonoPcm16WavReader(const std::string& path);

    double sampleRate() const { return sampleRate_; }  ///< Hz, above 0
    std::int64_t frameCount() const { return frameCount_; }

    /// `count` frames from frame `from` on, one sample each: of a file with several channels the
    /// first. Throws RecorderError when the file ends before.
    std::vector<std::int16_t> readFrames(std::int64_t from, std::int64_t count);

    /// Frames of this file's length at another rate in Hz, rounded down, and at least 1; its own
    /// number where the rates differ by less than 0.5 Hz.
    std::int64_t frameCountAtOutputRate(double outputRate) const;

    /// Index of the first frame that is louder than ±500, or the frame count for a silent file.
    /// Reads the file up to there. Throws RecorderError.
    std::int64_t firstNonSilentFrameIndex();

private:
    void parse(const std::vector<char>& head);
    std::int64_t frameBytes() const { return 2 * std::int64_t{channels_}; }
    void readPiece(std::int64_t from, std::span<std::int16_t> samples);
    bool readFormat(const std::vector<char>& head, std::size_t body, std::uint32_t size);

    std::ifstream file_;
    double sampleRate_ = 0;
    std::int64_t frameCount_ = 0;
    std::uint64_t dataOffset_ = 0;
    std::uint16_t channels_ = 0;
};

}  // namespace tapwell
