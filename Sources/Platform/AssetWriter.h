#pragma once

#include "Platform/AssetWriterInput.h"
#include "Platform/AudioFormatDescription.h"
#include "Platform/AudioOutputSettings.h"
#include "Platform/MediaTime.h"
#include "Platform/RecorderError.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tapwell {

/// Writes one MPEG-4 audio file (`.m4a`) with one AAC track.
///
/// While writing, the file is playable at every moment: what was appended reaches it in fragments
/// of at most 0.2 s; only a producer that is faster than real time may be some seconds ahead of the
/// file. Finishing makes it an ordinary file with its index first, whose declared length is exactly
/// the number of frames appended. After a failure (a full disk) the file keeps what fitted and
/// stays playable.
///
/// A writer that is destroyed before `startWriting` succeeded removes the file that it made; one
/// that is destroyed while writing leaves the playable fragments. Calls come from one thread at a
/// time; `status` and `error` may be read on any thread.
class AssetWriter {
public:
    enum class Status : int { unknown = 0, writing = 1, completed = 2, failed = 3, cancelled = 4 };

    virtual ~AssetWriter() = default;

    /// A new input for `add`. `sourceFormat` is the format of the buffers that will be appended.
    virtual std::shared_ptr<AssetWriterInput> makeInput(
        const AudioOutputSettings& settings,
        std::shared_ptr<const AudioFormatDescription> sourceFormat) = 0;

    /// Whether `input`'s settings can be encoded and there is no other input yet.
    virtual bool canAdd(const AssetWriterInput& input) const = 0;
    virtual void add(std::shared_ptr<AssetWriterInput> input) = 0;

    /// False on failure, with status `failed` and an error.
    virtual bool startWriting() = 0;
    /// The presentation time that becomes the file's time zero. Once, after startWriting.
    virtual void startSession(MediaTime sourceTime) = 0;

    /// Finishes the file and calls `completion` exactly once, on any thread, when the status is
    /// final. The input must be marked as finished. The writer must live until the completion is
    /// called, which may let go of it. A file that was renamed while writing, so that another one
    /// is at the path, is left as it is, and finishing fails.
    virtual void finishWriting(std::function<void()> completion) = 0;

    virtual Status status() const = 0;
    virtual std::optional<RecorderError> error() const = 0;
};

/// Makes writers. Any thread.
class AssetWriterFactory {
public:
    virtual ~AssetWriterFactory() = default;

    /// Creates the file at once, readable and writable by its owner only. Throws RecorderError,
    /// with a description that names the path and the reason, when the file exists already or
    /// cannot be made; nothing that exists is touched then.
    virtual std::unique_ptr<AssetWriter> makeWriter(const std::string& path) = 0;
};

}  // namespace tapwell
