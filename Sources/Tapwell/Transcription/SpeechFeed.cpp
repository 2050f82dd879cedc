#include "Tapwell/Transcription/SpeechFeed.h"

#include "Platform/MonoPcm.h"

#include <utility>
#include <vector>

namespace tapwell {

std::shared_ptr<SpeechFeed> SpeechFeed::create(QueueFactory& queues,
                                               SampleRateConverterFactory& converters,
                                               const Log& log,
                                               std::shared_ptr<SpeechRecognitionProvider> provider,
                                               double sessionRate, double providerRate) {
    const std::shared_ptr<SpeechFeed> feed(
        new SpeechFeed(queues, log, std::move(provider), sessionRate));
    if (sessionRate == providerRate) return feed;
    const auto source = AudioFormat::make(CommonFormat::pcmFloat32, sessionRate, 1, false);
    const auto target = AudioFormat::make(CommonFormat::pcmFloat32, providerRate, 1, false);
    if (source && target) feed->resampler_ = MonoResampler::make(converters, *source, *target);
    return feed->resampler_ ? feed : nullptr;
}

SpeechFeed::SpeechFeed(QueueFactory& queues, const Log& log,
                       std::shared_ptr<SpeechRecognitionProvider> provider, double sessionRate)
    : log_(log),
      provider_(std::move(provider)),
      sessionRate_(sessionRate),
      queue_(queues.makeSerialQueue("Tapwell.SpeechFeed", QualityOfService::utility)) {}

void SpeechFeed::feed(std::span<const float> samples, MediaTime presentationTime) {
    const auto queued = static_cast<double>(queuedSamples_ + samples.size());
    if (queued > maximumQueuedSeconds * sessionRate_) {
        if (!loggedLoss_.exchange(true))
            log_.line(
                "STT: recognition does not keep up with the recording; audio is left out of "
                "the transcript");
        return;
    }
    queuedSamples_ += samples.size();
    queue_->async([weak = weak_from_this(), copy = std::vector(samples.begin(), samples.end()),
                   presentationTime] {
        const auto self = weak.lock();
        if (!self) return;
        self->queuedSamples_ -= copy.size();
        self->deliver(copy, presentationTime);
    });
}

void SpeechFeed::deliver(std::span<const float> samples, MediaTime presentationTime) {
    if (!resampler_) {
        provider_->feedPCM(samples, presentationTime);
        return;
    }
    const auto buffer = monoFloatBuffer(samples, sessionRate_);
    if (!buffer) return;
    if (const auto resampled = resampler_->convert(*buffer))
        provider_->feedPCM(monoFloatSamples(*resampled), presentationTime);
}

}  // namespace tapwell
