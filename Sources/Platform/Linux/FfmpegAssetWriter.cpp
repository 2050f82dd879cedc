#include "Platform/Linux/FfmpegAssetWriter.h"

#include "Platform/Linux/AacRecording.h"
#include "Platform/Linux/FfmpegAssetWriterInput.h"

#include <cerrno>
#include <latch>
#include <system_error>

namespace tapwell {

FfmpegAssetWriter::FfmpegAssetWriter(const std::string& path, const EncodingResources& resources)
    : recording_(std::make_shared<AacRecording>(path, resources)) {}

FfmpegAssetWriter::~FfmpegAssetWriter() {
    waitForFinish();
    recording_->abandon();
}

void FfmpegAssetWriter::waitForFinish() {
    if (!finishing_.joinable()) return;
    // A completion may let go of the writer, on this very thread.
    if (finishing_.get_id() == std::this_thread::get_id())
        finishing_.detach();
    else
        finishing_.join();
}

std::shared_ptr<AssetWriterInput> FfmpegAssetWriter::makeInput(
    const AudioOutputSettings& settings,
    std::shared_ptr<const AudioFormatDescription> sourceFormat) {
    return std::make_shared<FfmpegAssetWriterInput>(settings, std::move(sourceFormat));
}

bool FfmpegAssetWriter::canAdd(const AssetWriterInput& input) const {
    const auto* ours = dynamic_cast<const FfmpegAssetWriterInput*>(&input);
    return ours != nullptr && !input_ && status() == Status::unknown && ours->canEncode();
}

void FfmpegAssetWriter::add(std::shared_ptr<AssetWriterInput> input) {
    if (!input || !canAdd(*input)) return;
    input_ = std::static_pointer_cast<FfmpegAssetWriterInput>(std::move(input));
    input_->attach(recording_);
}

bool FfmpegAssetWriter::startWriting() {
    if (!input_) {
        recording_->fail(RecorderError(
            "POSIX", EINVAL,
            "Cannot write recording file \"" + recording_->path() + "\": there is no input"));
        return false;
    }
    return recording_->start(input_->settings(), input_->expectsMediaDataInRealTime()
                                                     ? ParallelAacEncoder::Producer::realTime
                                                     : ParallelAacEncoder::Producer::unknown);
}

void FfmpegAssetWriter::startSession(MediaTime /*sourceTime*/) {
    // Buffers come one after the other from this time on, so that counting their frames gives
    // every time that the file needs.
    recording_->startSession();
}

void FfmpegAssetWriter::finishWriting(std::function<void()> completion) {
    waitForFinish();
    if (input_) input_->markAsFinished();
    // Begins when finishing_ is set, which a completion that destroys the writer looks at.
    const auto begin = std::make_shared<std::latch>(1);
    auto work = [recording = recording_, completion = std::move(completion), begin] {
        begin->wait();
        recording->finish();
        completion();
    };
    try {
        finishing_ = std::thread(work);
        begin->count_down();
    } catch (const std::system_error&) {
        begin->count_down();
        work();  // no thread to be had: the caller waits
    }
}

AssetWriter::Status FfmpegAssetWriter::status() const {
    return recording_->status();
}

std::optional<RecorderError> FfmpegAssetWriter::error() const {
    return recording_->error();
}

}  // namespace tapwell
