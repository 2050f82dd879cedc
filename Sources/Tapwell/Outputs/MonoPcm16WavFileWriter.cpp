#include "Tapwell/Outputs/MonoPcm16WavFileWriter.h"

#include "Platform/RecorderError.h"
#include "RecorderMixBus/Precondition.h"
#include "Tapwell/Outputs/Pcm16.h"
#include "Tapwell/Outputs/WavHeader.h"

#include <algorithm>
#include <filesystem>
#include <vector>

namespace tapwell {
namespace {

constexpr int kOpenFailed = 80;
constexpr int kNoFile = 81;
constexpr std::int64_t kSilenceBlockFrames = 32768;

}  // namespace

MonoPcm16WavFileWriter::MonoPcm16WavFileWriter(PrivateFileFactory& files, std::string path,
                                               std::uint32_t sampleRate, OnBytes onBytes, Log log)
    : files_(files),
      path_(std::move(path)),
      sampleRate_(sampleRate),
      onBytes_(std::move(onBytes)),
      log_(std::move(log)) {}

void MonoPcm16WavFileWriter::start() {
    const std::lock_guard hold(mutex_);
    if (started_) return;
    writeError_ = nullptr;
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
    const auto header = monoPcm16WavHeader(sampleRate_, 0);
    try {
        file_ = files_.createFile(path_);
        file_->append(header);
    } catch (const RecorderError& error) {
        file_.reset();
        log_.line(error.description());
        throw RecorderError(kOpenFailed, "WAV open failed: " + path_);
    }
    dataByteCount_ = 0;
    started_ = true;
}

void MonoPcm16WavFileWriter::appendMonoFloatSync(std::span<const float> samples) {
    const std::lock_guard hold(mutex_);
    write(Pcm16::littleEndianBytes(samples));
}

void MonoPcm16WavFileWriter::appendSilenceSync(std::int64_t sampleCount) {
    const std::vector<std::byte> zeros(static_cast<std::size_t>(
        2 * std::clamp<std::int64_t>(sampleCount, 0, kSilenceBlockFrames)));
    const std::lock_guard hold(mutex_);
    for (std::int64_t left = sampleCount; left > 0; left -= kSilenceBlockFrames)
        write(std::span(zeros).first(
            static_cast<std::size_t>(2 * std::min(left, kSilenceBlockFrames))));
}

/// Under mutex_.
void MonoPcm16WavFileWriter::write(std::span<const std::byte> bytes) {
    if (writeError_) std::rethrow_exception(writeError_);
    if (!file_ || bytes.empty()) return;
    constexpr std::uint64_t kMaximumBytes = 2 * kMaximumWavFrames;
    precondition(bytes.size() <= kMaximumBytes - dataByteCount_.load(), "WAV file is full");
    try {
        file_->append(bytes);
        dataByteCount_ += static_cast<std::uint32_t>(bytes.size());
        writeHeader(*file_);
    } catch (const RecorderError&) {
        writeError_ = std::current_exception();
        throw;
    }
    if (onBytes_) onBytes_(static_cast<std::int64_t>(bytes.size()));
}

void MonoPcm16WavFileWriter::writeHeader(PrivateFile& file) const {
    file.overwrite(0, monoPcm16WavHeader(sampleRate_, dataByteCount_.load()));
}

void MonoPcm16WavFileWriter::finalizeSync() {
    const std::lock_guard hold(mutex_);
    if (!started_) return;
    if (!file_) throw RecorderError(kNoFile, "WAV finalize: no file handle");
    started_ = false;
    const auto file = std::move(file_);
    writeHeader(*file);
}

}  // namespace tapwell
