#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Linux/FragmentedMp4File.h"
#include "Platform/Linux/ParallelAacEncoder.h"
#include "Platform/Linux/RecordingFile.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

namespace tapwell {

/// What a writer and its input share: the file, the encoder, and how they are doing. Any thread;
/// operations wait for one another, but nothing waits in `status` and `error`.
class AacRecording {
public:
    AacRecording(const std::string& path, const EncodingResources& resources)
        : file_(path), resources_(resources) {}

    AssetWriter::Status status() const { return status_.load(); }
    std::optional<RecorderError> error() const;

    /// Opens the encoder and writes the file's beginning. False on failure, or when begun before.
    bool start(const AudioOutputSettings& settings, ParallelAacEncoder::Producer producer);
    /// The next sample appended is the file's first. False when not writing.
    bool startSession();
    /// Encodes whole interleaved frames and writes the fragments that they fill; takes its time
    /// over those of a fast producer. False when not writing, or when this or what came before
    /// fails.
    bool append(std::span<const float> samples);
    /// Ends a recording with an error, unless it has ended.
    void fail(const RecorderError& error);
    /// Makes the file an ordinary one. Afterwards the status is final.
    void finish();
    /// The writer goes away: removes a file that was never begun, and writes what is left of one
    /// that was never finished. Nothing follows.
    void abandon();

    const std::string& path() const { return file_.path(); }

private:
    void drain();
    void failLocked(const RecorderError& error);

    std::mutex mutex_;  ///< guards all but status_ and error_
    RecordingFile file_;
    const EncodingResources resources_;
    std::unique_ptr<ParallelAacEncoder> encoder_;
    std::unique_ptr<FragmentedMp4File> fragments_;
    std::uint64_t frameCount_ = 0;
    bool hasBegun_ = false;  ///< there is a file worth keeping
    bool hasSession_ = false;
    std::atomic<AssetWriter::Status> status_{AssetWriter::Status::unknown};
    mutable std::mutex errorMutex_;
    std::optional<RecorderError> error_;  ///< guarded by errorMutex_
};

}  // namespace tapwell
