#include "Platform/Linux/CaptureProcedure.h"

#include <utility>

namespace tapwell {

CaptureProcedure::CaptureProcedure(AudioObjectID device, CaptureTarget target,
                                   std::shared_ptr<SerialQueue> queue, AudioIOBlock block)
    : device_(device),
      target_(std::move(target)),
      queue_(std::move(queue)),
      block_(std::make_shared<const AudioIOBlock>(std::move(block))) {}

bool CaptureProcedure::start(pw_core* core, std::function<void()> wake) {
    feed_ = std::make_shared<CaptureFeed>(target_.channelCount(), target_.sampleRate);
    stream_ = std::make_unique<PipeWireCaptureStream>(core, target_, feed_, std::move(wake));
    if (stream_->isConnected()) return true;
    stop();
    return false;
}

void CaptureProcedure::stop() {
    if (feed_) feed_->cancel();
    stream_.reset();
    feed_.reset();
}

std::uint64_t CaptureProcedure::serve() {
    if (!feed_) return 0;
    if (feed_->takeDrainRequest())
        queue_->async([feed = feed_, block = block_] { feed->drain(*block); });
    return feed_->takeOverrunReport() ? feed_->overrunFrames() : 0;
}

}  // namespace tapwell
