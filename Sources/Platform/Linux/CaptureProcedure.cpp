#include "Platform/Linux/CaptureProcedure.h"

#include <system_error>
#include <utility>

namespace tapwell {

CaptureProcedure::CaptureProcedure(AudioObjectID device, CaptureTarget target,
                                   std::shared_ptr<AsioSerialQueue> queue, AudioIOBlock block)
    : device_(device),
      target_(std::move(target)),
      queue_(std::move(queue)),
      block_(std::make_shared<const AudioIOBlock>(std::move(block))) {}

bool CaptureProcedure::start(pw_core* core, std::function<void()> report) {
    feed_ = std::make_shared<CaptureFeed>(target_.channelCount(), target_.sampleRate);
    try {
        doorbell_ = queue_->makeDoorbell([feed = feed_, block = block_] { feed->drain(*block); });
    } catch (const std::system_error&) {
        stop();
        return false;
    }
    stream_ = std::make_unique<PipeWireCaptureStream>(
        core, target_, feed_,
        [bell = doorbell_.get(), report = std::move(report)](CaptureFeed::Need need) {
            if (need == CaptureFeed::Need::drain)
                bell->ring();
            else
                report();
        });
    if (stream_->isConnected()) return true;
    stop();
    return false;
}

void CaptureProcedure::stop() {
    if (feed_) feed_->cancel();
    stream_.reset();
    if (doorbell_) doorbell_->close();
    doorbell_.reset();
    feed_.reset();
}

std::uint64_t CaptureProcedure::takeLostFrames() {
    return feed_ && feed_->takeOverrunReport() ? feed_->overrunFrames() : 0;
}

}  // namespace tapwell
