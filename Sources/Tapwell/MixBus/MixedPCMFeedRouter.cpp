#include "Tapwell/MixBus/MixedPCMFeedRouter.h"

#include "Tapwell/Diagnostics/TextFormat.h"
#include "Tapwell/MixBus/DualStreamMonoMixer.h"
#include "Tapwell/MixBus/DualStreamStereoLRMixer.h"
#include "Tapwell/Outputs/RecorderTime.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tapwell {
namespace {

constexpr std::int64_t kMicProgressInterval = 250;
constexpr double kLongestHoldSeconds = 0.5;

std::unique_ptr<DualStreamMixer> makeMixer(RecorderUploadLayout layout, double rate,
                                           StandardStreams& streams) {
    if (layout == RecorderUploadLayout::stereoLR)
        return std::make_unique<DualStreamStereoLRMixer>(rate, Log(streams, "stereo-lr"));
    return std::make_unique<DualStreamMonoMixer>(rate, Log(streams, "mix"));
}

std::variant<MixedPCMSampleBuilder, StereoPCMSampleBuilder> makeBuilder(RecorderUploadLayout layout,
                                                                        double rate) {
    using Builder = std::variant<MixedPCMSampleBuilder, StereoPCMSampleBuilder>;
    if (layout == RecorderUploadLayout::stereoLR)
        return Builder(std::in_place_type<StereoPCMSampleBuilder>, rate);
    return Builder(std::in_place_type<MixedPCMSampleBuilder>, rate);
}

}  // namespace

std::shared_ptr<MixedPCMFeedRouter> MixedPCMFeedRouter::create(
    const Services& services, std::shared_ptr<TrackSink> sink, double mixBusSampleRateHz,
    RecorderUploadLayout uploadLayout, std::shared_ptr<RecorderDebugMixedWavSink> debugWavSink) {
    if (uploadLayout == RecorderUploadLayout::stereoLR) debugWavSink.reset();
    return std::shared_ptr<MixedPCMFeedRouter>(
        new MixedPCMFeedRouter(services, {std::move(sink), nullptr, std::move(debugWavSink)},
                               mixBusSampleRateHz, uploadLayout));
}

std::shared_ptr<MixedPCMFeedRouter> MixedPCMFeedRouter::create(
    const Services& services, std::shared_ptr<RtmpsPcmStdoutSink> rtmpsPcmSink,
    double mixBusSampleRateHz) {
    return std::shared_ptr<MixedPCMFeedRouter>(
        new MixedPCMFeedRouter(services, {nullptr, std::move(rtmpsPcmSink), nullptr},
                               mixBusSampleRateHz, RecorderUploadLayout::stereoLR));
}

MixedPCMFeedRouter::MixedPCMFeedRouter(const Services& services, Sinks sinks,
                                       double mixBusSampleRateHz, RecorderUploadLayout uploadLayout)
    : uploadLayout_(uploadLayout),
      mixBusSampleRateHz_(mixBusSampleRateHz),
      cmPreferredTimescale_(preferredTimescale(mixBusSampleRateHz)),
      clock_(services.clock),
      log_(services.streams, "mic-debug"),
      systemConverter_(mixBusSampleRateHz, services.converters,
                       Log(services.streams, "pcm-mix-bus")),
      micConverter_(mixBusSampleRateHz, services.converters, Log(services.streams, "pcm-mix-bus")),
      systemClock_(services.clock),
      sinks_(std::move(sinks)),
      mixer_(makeMixer(uploadLayout, mixBusSampleRateHz, services.streams)),
      continuity_(*mixer_, mixBusSampleRateHz, log_),
      sampleBuilder_(makeBuilder(uploadLayout, mixBusSampleRateHz)),
      mixQueue_(services.queues.makeSerialQueue("Tapwell.MixedPCMFeedRouter.Mix",
                                                QualityOfService::userInitiated)) {}

void MixedPCMFeedRouter::setSttCallback(SttCallback callback) {
    mixQueue_->async([weak = weak_from_this(), callback = std::move(callback)] {
        if (const auto self = weak.lock()) self->sttCallback_ = callback;
    });
}

void MixedPCMFeedRouter::handleSystem(const PcmBuffer& buffer, const AudioTimeStamp& stamp,
                                      std::optional<double> aggregateRateHintHz) {
    if (!captureStarted_.load()) return;
    {
        const std::lock_guard hold(statsLock_);
        ++systemCallbacksTotal_;
    }
    const bool isAfterLoss = systemFrames_.isAfterLoss(
        stamp.hasSampleTime() ? std::optional(stamp.sampleTime) : std::nullopt,
        buffer.frameLength());
    const bool isOtherDevice = systemPathResetPending_.exchange(false);
    if (isOtherDevice) systemClock_.reset();
    if (isOtherDevice || isAfterLoss)
        endStream(Source::system, systemConverter_, systemIsInterrupted_);
    systemClock_.update(stamp);
    const MediaTime time =
        systemPresentationTime(buffer, stamp, systemClock_.hz(), aggregateRateHintHz);
    const auto settled = systemClock_.settledHz();
    MixBusChunk chunk;
    try {
        chunk = systemConverter_.convert(buffer, time, settled ? settled : aggregateRateHintHz);
    } catch (const std::exception&) {
        return;
    }
    if (chunk.samples.empty()) return;
    chunk.beginsAnew = std::exchange(systemIsInterrupted_, false);
    handToMixQueue(Source::system, std::move(chunk));
}

MediaTime MixedPCMFeedRouter::systemPresentationTime(
    const PcmBuffer& buffer, const AudioTimeStamp& stamp, std::optional<double> clockHz,
    std::optional<double> aggregateRateHintHz) const {
    if (stamp.hasHostTime())
        return MediaTime::fromSeconds(clock_.hostSeconds(stamp.hostTime), cmPreferredTimescale_);
    if (!stamp.hasSampleTime()) return MediaTime::invalid();
    double rate = buffer.format().sampleRate();
    if (clockHz)
        rate = *clockHz;
    else if (aggregateRateHintHz)
        rate = *aggregateRateHintHz;
    return MediaTime::fromSeconds(stamp.sampleTime / std::max(rate, 1.0), cmPreferredTimescale_);
}

void MixedPCMFeedRouter::handleMicrophone(const PcmBuffer& buffer, const AudioTime& when) {
    const auto callbacks = countMicrophoneCallback();
    if (!callbacks) return;
    if (*callbacks == 1 || *callbacks % kMicProgressInterval == 0)
        log_.line("mic callback " + std::to_string(*callbacks) + ": " +
                  std::to_string(buffer.frameLength()) + " frames");
    if (buffer.frameLength() == 0) {
        const std::lock_guard hold(statsLock_);
        ++micCallbacksInvalid_;
        return;
    }
    const bool isAfterLoss = micFrames_.isAfterLoss(
        when.isSampleTimeValid ? std::optional(when.sampleTime) : std::nullopt,
        buffer.frameLength());
    const bool isOtherDevice = micPathResetPending_.exchange(false);
    if (isOtherDevice || isAfterLoss)
        endStream(Source::microphone, micConverter_, micIsInterrupted_);
    const MediaTime time = RecorderTime::cm(when, cmPreferredTimescale_, clock_);
    MixBusChunk chunk;
    try {
        chunk = micConverter_.convert(buffer, time, std::nullopt);
    } catch (const std::exception& error) {
        logMicConvertFailureOnce(std::string("mic convert failed: ") + error.what());
        return;
    }
    if (chunk.samples.empty()) {
        if (!micConverter_.isFilling())
            logMicConvertFailureOnce("mic convert produced 0 float samples");
        return;
    }
    chunk.beginsAnew = std::exchange(micIsInterrupted_, false);
    handToMixQueue(Source::microphone, std::move(chunk));
}

/// What the converter's filter holds. It can be all that an interrupted stream has had since.
MixBusChunk MixedPCMFeedRouter::takeTail(PCMToMixBusConverter& converter, bool& isInterrupted) {
    MixBusChunk tail = converter.finish();
    if (!tail.samples.empty()) tail.beginsAnew = std::exchange(isInterrupted, false);
    tail.isTail = true;
    return tail;
}

/// The stream is interrupted here: what its filter holds was captured before.
void MixedPCMFeedRouter::endStream(Source source, PCMToMixBusConverter& converter,
                                   bool& isInterrupted) {
    MixBusChunk tail = takeTail(converter, isInterrupted);
    if (!tail.samples.empty()) handToMixQueue(source, std::move(tail));
    isInterrupted = true;
}

/// The number of this callback, or nothing when capture has not started.
std::optional<std::int64_t> MixedPCMFeedRouter::countMicrophoneCallback() {
    const std::lock_guard hold(statsLock_);
    if (!captureStarted_.load()) {
        ++micCallbacksDroppedBeforeStart_;
        return std::nullopt;
    }
    return ++micCallbacksTotal_;
}

void MixedPCMFeedRouter::logMicConvertFailureOnce(const std::string& message) {
    {
        const std::lock_guard hold(diagLock_);
        if (loggedMicConvertFailure_) return;
        loggedMicConvertFailure_ = true;
    }
    log_.line(message);
}

void MixedPCMFeedRouter::handToMixQueue(Source source, MixBusChunk chunk) {
    mixQueue_->async([weak = weak_from_this(), source, chunk = std::move(chunk)] {
        if (const auto self = weak.lock()) self->pushAndDrain(source, chunk);
    });
}

void MixedPCMFeedRouter::pushAndDrain(Source source, const MixBusChunk& chunk) {
    if (holdBack(source, chunk)) return;
    continuity_.push(source, chunk, emitter());
    mixer_->drain(emitter());
}

/// True when the chunk was kept for later. Ends the wait with the microphone's first samples (which
/// must be in the mixer before the system audio that waited) or when it has lasted too long.
bool MixedPCMFeedRouter::holdBack(Source source, const MixBusChunk& chunk) {
    if (!awaitsMicrophone_) return false;
    if (source == Source::system) {
        heldBack_.push_back(chunk);
        heldBackSamples_ += chunk.samples.size();
        if (static_cast<double>(heldBackSamples_) >= kLongestHoldSeconds * mixBusSampleRateHz_) {
            releaseHeldBack();
            mixer_->drain(emitter());
        }
        return true;
    }
    if (chunk.samples.empty()) return false;
    continuity_.push(source, chunk, emitter());
    releaseHeldBack();
    mixer_->drain(emitter());
    return true;
}

void MixedPCMFeedRouter::releaseHeldBack() {
    awaitsMicrophone_ = false;
    for (const MixBusChunk& held : std::exchange(heldBack_, {}))
        continuity_.push(Source::system, held, emitter());
}

DualStreamMixer::EmitFrame MixedPCMFeedRouter::emitter() {
    return [this](MediaTime time, const std::vector<float>& frame) { emitFrame(time, frame); };
}

void MixedPCMFeedRouter::emitFrame(MediaTime presentationTime, const std::vector<float>& frame) {
    if (sinks_.file) {
        try {
            sinks_.file->append(buildSampleBuffer(presentationTime, frame));
        } catch (const std::exception& error) {
            log_.line(std::string("dropped a mixed frame: ") + error.what());
        }
    }
    if (sinks_.rtmpsPcm) sinks_.rtmpsPcm->pushInterleavedFloatStereo(frame);
    if (sinks_.debugWav) sinks_.debugWav->appendMonoFloatSamples(frame);
    if (sttCallback_ && uploadLayout_ == RecorderUploadLayout::monoMix)
        sttCallback_(frame, presentationTime);
}

SampleBuffer MixedPCMFeedRouter::buildSampleBuffer(MediaTime presentationTime,
                                                   const std::vector<float>& frame) {
    return std::visit(
        [&](auto& builder) { return builder.makeSampleBuffer(frame, presentationTime); },
        sampleBuilder_);
}

void MixedPCMFeedRouter::bothStreamsQuietUntil(double hostSeconds) {
    mixQueue_->async([weak = weak_from_this(), hostSeconds] {
        const auto self = weak.lock();
        if (!self || self->awaitsMicrophone_) return;
        self->continuity_.fillUpTo(hostSeconds, self->emitter());
    });
}

void MixedPCMFeedRouter::flushMixedTail() {
    const MixBusChunk systemTail = takeTail(systemConverter_, systemIsInterrupted_);
    const MixBusChunk micTail = takeTail(micConverter_, micIsInterrupted_);
    mixQueue_->sync([&] {
        pushAndDrain(Source::system, systemTail);
        pushAndDrain(Source::microphone, micTail);
        releaseHeldBack();
        mixer_->flushTail(emitter());
    });
}

void MixedPCMFeedRouter::logDiagnosticsAfterStopCapture() {
    std::string line = std::string("after stop: layout=") + layoutName(uploadLayout_);
    {
        const std::lock_guard hold(statsLock_);
        line += " mic callbacks=" + std::to_string(micCallbacksTotal_) +
                " droppedBeforeCaptureStarted=" + std::to_string(micCallbacksDroppedBeforeStart_) +
                " invalid=" + std::to_string(micCallbacksInvalid_) +
                "; system callbacks=" + std::to_string(systemCallbacksTotal_);
    }
    bool hasAnyMicSample = false;
    mixQueue_->sync([&] { hasAnyMicSample = mixer_->hasAnyMicSample(); });
    log_.line(line + "; mixer.hasAnyMicSample=" + boolText(hasAnyMicSample) +
              "; mixBusHz=" + shortestText(mixBusSampleRateHz_));
    if (!sinks_.file) return;
    log_.line("mixed TrackSink before finishWriting: appendedBuffers=" +
              std::to_string(sinks_.file->appendedBufferCount()) +
              " appendFailures=" + std::to_string(sinks_.file->appendFailureCount()) +
              " hadAnySample=" + boolText(sinks_.file->hadAnySample()) +
              " bytes=" + std::to_string(sinks_.file->bytesWritten()));
}

}  // namespace tapwell
