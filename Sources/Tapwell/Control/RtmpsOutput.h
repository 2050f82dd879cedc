#pragma once

#include "Tapwell/Control/RecordingOutput.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/MixBus/MixedPCMFeedRouter.h"
#include "Tapwell/Outputs/RtmpsPcmStdoutSink.h"

namespace tapwell {

/// Lays the two sources side by side and streams them as framed PCM on standard output.
class RtmpsOutput final : public RecordingOutput {
public:
    struct Services {
        SampleRateConverterFactory& converters;
        QueueFactory& queues;
        Clock& clock;
        StandardStreams& streams;
    };

    /// Throws RecorderError.
    RtmpsOutput(const Services& services, double mixBusSampleRateHz);

    const std::shared_ptr<CaptureReceiver>& receiver() const override { return receiver_; }
    /// The parent has the audio itself.
    bool isTranscribed() const override { return false; }
    std::optional<std::int64_t> finish() override;

private:
    const Log log_;
    const std::shared_ptr<RtmpsPcmStdoutSink> sink_;
    const std::shared_ptr<MixedPCMFeedRouter> router_;
    const std::shared_ptr<CaptureReceiver> receiver_;  ///< the router
};

}  // namespace tapwell
