#pragma once

#include "Platform/Linux/FragmentedMp4File.h"
#include "Platform/Linux/RecordingFile.h"

#include <cstdint>
#include <string>

namespace tapwell {

/// Turns a recording's fragmented file into an ordinary one with its index first: copies the
/// packets behind a new index into a file beside it, syncs that and puts it in the recording's
/// place in one step. Until then the fragmented file stays what it is, also when this fails or the
/// process ends half way.
class Mp4Finisher {
public:
    /// `fragments` must be complete, and hold what is in `file`.
    Mp4Finisher(const RecordingFile& file, const FragmentedMp4File& fragments,
                std::uint64_t frameCount)
        : file_(file), fragments_(fragments), frameCount_(frameCount) {}
    ~Mp4Finisher();
    Mp4Finisher(const Mp4Finisher&) = delete;
    Mp4Finisher& operator=(const Mp4Finisher&) = delete;

    /// Throws RecorderError; nothing is left beside the recording then.
    void finish();

private:
    void openCopy();
    void openNamedCopy();
    void writeCopy();
    std::uint64_t copyPackets(std::uint64_t targetOffset);
    void nameCopy();
    void replaceRecording();
    std::string hiddenName() const;
    [[noreturn]] void fail(int errorNumber) const;

    const RecordingFile& file_;
    const FragmentedMp4File& fragments_;
    std::uint64_t frameCount_;
    int copy_ = -1;
    std::string copyPath_;  ///< empty while the copy has no name
};

}  // namespace tapwell
