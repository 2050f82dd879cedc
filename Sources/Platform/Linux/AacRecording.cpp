#include "Platform/Linux/AacRecording.h"

#include "Platform/Linux/Mp4Finisher.h"

#include <cerrno>
#include <new>

namespace tapwell {

using Status = AssetWriter::Status;

std::optional<RecorderError> AacRecording::error() const {
    const std::lock_guard lock(errorMutex_);
    return error_;
}

bool AacRecording::start(const AudioOutputSettings& settings,
                         ParallelAacEncoder::Producer producer) {
    const std::lock_guard lock(mutex_);
    if (status() != Status::unknown) return false;
    try {
        encoder_ = std::make_unique<ParallelAacEncoder>(settings, resources_, producer);
        fragments_ = std::make_unique<FragmentedMp4File>(file_, encoder_->track());
    } catch (const RecorderError& error) {
        failLocked(error);
        return false;
    }
    hasBegun_ = true;
    status_ = Status::writing;
    return true;
}

bool AacRecording::startSession() {
    const std::lock_guard lock(mutex_);
    if (status() != Status::writing) return false;
    hasSession_ = true;
    return true;
}

bool AacRecording::append(std::span<const float> samples) {
    const std::lock_guard lock(mutex_);
    if (status() != Status::writing || !hasSession_) return false;
    try {
        encoder_->encode(samples,
                         [this](std::span<const std::byte> packet) { fragments_->append(packet); });
    } catch (const RecorderError& error) {
        failLocked(error);
        return false;
    } catch (const std::bad_alloc&) {
        failLocked(file_.error("encode", ENOMEM));
        return false;
    }
    frameCount_ += samples.size() / encoder_->track().channelCount;
    return true;
}

void AacRecording::fail(const RecorderError& error) {
    const std::lock_guard lock(mutex_);
    if (status() == Status::unknown || status() == Status::writing) failLocked(error);
}

void AacRecording::failLocked(const RecorderError& error) {
    {
        const std::lock_guard lock(errorMutex_);
        error_ = error;
    }
    status_ = Status::failed;
    encoder_.reset();
}

void AacRecording::drain() {
    fragments_->setFrameCount(frameCount_);
    encoder_->finish([this](std::span<const std::byte> packet) { fragments_->append(packet); });
    fragments_->finish();
    encoder_.reset();
    // Every length that the file declares rests on this.
    const std::uint64_t mediaFrames = fragments_->layout().track().primingFrames + frameCount_;
    const std::uint64_t expectedPackets =
        frameCount_ == 0
            ? 0
            : (mediaFrames + AacTrack::kFramesPerPacket - 1) / AacTrack::kFramesPerPacket;
    if (fragments_->packetSizes().size() != expectedPackets) throw file_.error("encode", EPROTO);
}

void AacRecording::finish() {
    const std::lock_guard lock(mutex_);
    if (status() != Status::writing) return;
    try {
        drain();
        Mp4Finisher(file_, *fragments_, frameCount_).finish();
        status_ = Status::completed;
    } catch (const RecorderError& error) {
        failLocked(error);
    } catch (const std::bad_alloc&) {
        failLocked(file_.error("finish", ENOMEM));
    }
    fragments_.reset();
}

void AacRecording::abandon() {
    const std::lock_guard lock(mutex_);
    if (!hasBegun_) {
        file_.remove();
    } else if (status() == Status::writing) {
        try {
            drain();
        } catch (const RecorderError&) {
            // The file keeps what fitted; nobody is left to be told.
        } catch (const std::bad_alloc&) {
        }
    }
    encoder_.reset();
    if (status() == Status::unknown || status() == Status::writing) status_ = Status::cancelled;
}

}  // namespace tapwell
