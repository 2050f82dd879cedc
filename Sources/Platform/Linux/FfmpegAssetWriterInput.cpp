#include "Platform/Linux/FfmpegAssetWriterInput.h"

#include "Platform/AudioFormat.h"
#include "Platform/Linux/AacRecording.h"

#include <cerrno>
#include <cstdint>
#include <span>

namespace tapwell {

bool FfmpegAssetWriterInput::canEncode() const {
    if (!AacEncoder::supports(settings_)) return false;
    if (!sourceFormat_ || !sourceFormat_->streamDescription()) return true;
    const auto format = AudioFormat::fromStreamDescription(*sourceFormat_->streamDescription());
    return format && format->commonFormat() == CommonFormat::pcmFloat32 &&
           format->sampleRate() == settings_.sampleRate &&
           format->channelCount() == settings_.numberOfChannels &&
           (format->isInterleaved() || format->channelCount() == 1);
}

bool FfmpegAssetWriterInput::isReadyForMoreMediaData() const {
    if (!recording_ || isFinished_) return false;
    const AssetWriter::Status status = recording_->status();
    return status == AssetWriter::Status::writing || status == AssetWriter::Status::failed;
}

bool FfmpegAssetWriterInput::append(const SampleBuffer& buffer) {
    if (!recording_ || isFinished_) return false;
    const std::span<const std::byte> bytes = buffer.bytes();
    const auto bytesPerFrame =
        static_cast<std::int64_t>(sizeof(float)) * settings_.numberOfChannels;
    if (buffer.isValid() && buffer.totalSampleSize() != buffer.sampleCount() * bytesPerFrame) {
        recording_->fail(RecorderError("POSIX", EINVAL,
                                       "Cannot write recording file \"" + recording_->path() +
                                           "\": the samples are not in the input's format"));
        return false;
    }
    return recording_->append(
        {reinterpret_cast<const float*>(bytes.data()), bytes.size() / sizeof(float)});
}

}  // namespace tapwell
