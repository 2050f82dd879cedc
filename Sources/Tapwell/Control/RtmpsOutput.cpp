#include "Tapwell/Control/RtmpsOutput.h"

namespace tapwell {

RtmpsOutput::RtmpsOutput(const Services& services, double mixBusSampleRateHz)
    : log_(services.streams, "mic-debug"),
      sink_(RtmpsPcmStdoutSink::create(services.queues, services.streams)),
      router_(MixedPCMFeedRouter::create(
          {services.queues, services.clock, services.converters, services.streams}, sink_,
          mixBusSampleRateHz)),
      receiver_(router_) {}

std::optional<std::int64_t> RtmpsOutput::finish() {
    router_->logDiagnosticsAfterStopCapture();
    router_->flushMixedTail();
    sink_->flush();
    log_.line("RTMPS capture stopped: pcmBytesEmitted=" + std::to_string(sink_->bytesEmitted()) +
              " framesDropped=" + std::to_string(sink_->framesDropped()));
    return std::nullopt;
}

}  // namespace tapwell
