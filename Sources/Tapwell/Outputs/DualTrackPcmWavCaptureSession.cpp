#include "Tapwell/Outputs/DualTrackPcmWavCaptureSession.h"

#include "RecorderMixBus/Precondition.h"
#include "Tapwell/Diagnostics/TextFormat.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace tapwell {
namespace {

/// Of transcription, for the other side's samples.
constexpr double kLongestPairingWaitSeconds = 2;

std::uint32_t wavRate(double rate) {
    precondition(
        std::isfinite(rate) && rate >= 0 && rate <= std::numeric_limits<std::uint32_t>::max(),
        "WAV sample rate does not fit");
    return static_cast<std::uint32_t>(rate);
}

}  // namespace

std::shared_ptr<DualTrackPcmWavCaptureSession> DualTrackPcmWavCaptureSession::create(
    const Services& services, const DualTrackWavPaths& paths, double mixBusSampleRateHz,
    const MonoPcm16WavFileWriter::OnBytes& onBytes, std::int64_t maximumFramesPerTrack) {
    return std::shared_ptr<DualTrackPcmWavCaptureSession>(new DualTrackPcmWavCaptureSession(
        services, paths, mixBusSampleRateHz, onBytes, maximumFramesPerTrack));
}

DualTrackPcmWavCaptureSession::DualTrackPcmWavCaptureSession(
    const Services& services, const DualTrackWavPaths& paths, double mixBusSampleRateHz,
    const MonoPcm16WavFileWriter::OnBytes& onBytes, std::int64_t maximumFramesPerTrack)
    : mixBusSampleRateHz_(mixBusSampleRateHz),
      maximumFramesPerTrack_(std::min(maximumFramesPerTrack, kMaximumWavFrames)),
      clock_(services.clock),
      log_(services.streams, "mic-debug"),
      system_{"system",
              {services.files, paths.systemWav, wavRate(mixBusSampleRateHz), onBytes, log_},
              {mixBusSampleRateHz, services.converters, log_.withArea("pcm-mix-bus")},
              {services.clock, mixBusSampleRateHz}},
      mic_{"mic",
           {services.files, paths.micWav, wavRate(mixBusSampleRateHz), onBytes, log_},
           {mixBusSampleRateHz, services.converters, log_.withArea("pcm-mix-bus")},
           {services.clock, mixBusSampleRateHz}},
      pairing_(static_cast<std::size_t>(kLongestPairingWaitSeconds * mixBusSampleRateHz)),
      sttQueue_(services.queues.makeSerialQueue("Tapwell.DualTrackPcmWavCaptureSession.STT",
                                                QualityOfService::utility)),
      systemWriteQueue_(services.queues.makeSerialQueue(
          "Tapwell.DualTrackPcmWavCaptureSession.SystemWrite", QualityOfService::userInitiated)),
      micWriteQueue_(services.queues.makeSerialQueue(
          "Tapwell.DualTrackPcmWavCaptureSession.MicWrite", QualityOfService::userInitiated)) {}

void DualTrackPcmWavCaptureSession::startWriters() {
    system_.wav.start();
    mic_.wav.start();
}

void DualTrackPcmWavCaptureSession::setSpeakerAttributor(
    std::shared_ptr<SpeakerAttributor> attributor) {
    speakerAttributor_ = std::move(attributor);
}

void DualTrackPcmWavCaptureSession::setCaptureStarted(bool started) {
    const std::lock_guard hold(sessionLock_);
    captureStarted_ = started;
}

bool DualTrackPcmWavCaptureSession::isCapturing() {
    const std::lock_guard hold(sessionLock_);
    return captureStarted_;
}

void DualTrackPcmWavCaptureSession::setSttCallback(SttCallback callback) {
    isTranscribed_.store(static_cast<bool>(callback));
    sttQueue_->async([weak = weak_from_this(), callback = std::move(callback)] {
        if (const auto self = weak.lock()) self->pairing_.setCallback(callback);
    });
}

void DualTrackPcmWavCaptureSession::handleSystem(const PcmBuffer& buffer,
                                                 const AudioTimeStamp& stamp,
                                                 std::optional<double> aggregateRateHintHz) {
    if (!isCapturing() || buffer.frameLength() == 0) return;
    {
        const std::lock_guard hold(statsLock_);
        ++systemCallbacksTotal_;
    }
    auto copy = buffer.deepCopy(buffer.format());
    if (!copy) return;
    CaptureMoment moment{{}, clock_.hostTicks()};
    if (stamp.hasHostTime()) moment.firstFrame = stamp.hostTime;
    systemWriteQueue_->async(
        [weak = weak_from_this(), copy = *std::move(copy), moment, aggregateRateHintHz] {
            if (const auto self = weak.lock()) self->writeSystem(copy, moment, aggregateRateHintHz);
        });
}

void DualTrackPcmWavCaptureSession::writeSystem(const PcmBuffer& buffer,
                                                const CaptureMoment& moment,
                                                std::optional<double> aggregateRateHintHz) {
    padSystemWavOnSystemWriteQueue(systemFramesMissingBefore(moment, outputFrames(buffer)));
    if (!moment.firstFrame)
        system_.timeline.noteArrival(moment.arrival, outputFrames(buffer),
                                     system_.wav.writtenPCMFrameCount());
    std::vector<float> samples;
    try {
        samples = system_.converter.convertSystemBufferForDualTrack(buffer, aggregateRateHintHz);
    } catch (const RecorderError& error) {
        log_.line("dual-track system path failed: " + error.description());
        return;
    }
    append(system_, samples);
    feedTranscription(TranscriptionPairing::Side::system, std::move(samples));
}

/// Before the first buffer: what the microphone has recorded up to then. Later: what the stream's
/// own times say. What the microphone recorded since the buffer began is not missing, only early.
std::int64_t DualTrackPcmWavCaptureSession::systemFramesMissingBefore(const CaptureMoment& moment,
                                                                      std::int64_t bufferFrames) {
    const std::int64_t written = system_.wav.writtenPCMFrameCount();
    const std::int64_t micWritten = mic_.wav.writtenPCMFrameCount();
    std::optional<std::uint64_t> micFirst;
    {
        const std::lock_guard hold(metaLock_);
        micFirst = micFirstHostAbsolute_;
    }
    const bool isFirst = !system_.timeline.origin();
    if (!moment.firstFrame || (micWritten > 0 && !micFirst))
        return micWritten - written - (isFirst ? 0 : bufferFrames);
    if (system_.timeline.isDefined())
        return system_.timeline.framesMissing(*moment.firstFrame, written);

    const std::int64_t micAhead =
        micFirst
            ? std::min(micWritten, system_.timeline.framesBetween(*micFirst, *moment.firstFrame))
            : 0;
    const std::int64_t missing = std::max<std::int64_t>(micAhead - written, 0);
    system_.timeline.framesMissing(*moment.firstFrame, written + missing);
    return missing;
}

void DualTrackPcmWavCaptureSession::padSystemWavOnSystemWriteQueue(std::int64_t frames) {
    if (frames <= 0) return;
    appendSilence(system_, frames);
    log_.line("dual-track timeline: padded system +" + std::to_string(frames) +
              " frames to match mic (sys=" + std::to_string(system_.wav.writtenPCMFrameCount()) +
              " mic=" + std::to_string(mic_.wav.writtenPCMFrameCount()) + ")");
}

void DualTrackPcmWavCaptureSession::padSystemWavToMicLengthOnSystemWriteQueue() {
    padSystemWavOnSystemWriteQueue(mic_.wav.writtenPCMFrameCount() -
                                   system_.wav.writtenPCMFrameCount());
}

void DualTrackPcmWavCaptureSession::handleMicrophone(const PcmBuffer& buffer,
                                                     const AudioTime& when) {
    if (!isCapturing()) return;
    CaptureMoment moment{{}, clock_.hostTicks()};
    if (when.isHostTimeValid) moment.firstFrame = when.hostTime;
    {
        const std::lock_guard hold(metaLock_);
        if (!micFirstHostAbsolute_) micFirstHostAbsolute_ = moment.firstFrame;
    }
    bool isFirst = false;
    {
        const std::lock_guard hold(statsLock_);
        isFirst = ++micCallbacksTotal_ == 1;
    }
    if (isFirst)
        log_.line("dual-track first mic buffer: " + std::to_string(buffer.frameLength()) +
                  " frames");
    if (buffer.frameLength() == 0) return;
    auto copy = buffer.deepCopy(buffer.format());
    if (!copy) return;
    micWriteQueue_->async([weak = weak_from_this(), copy = *std::move(copy), moment] {
        if (const auto self = weak.lock()) self->writeMicrophone(copy, moment);
    });
}

void DualTrackPcmWavCaptureSession::writeMicrophone(const PcmBuffer& buffer,
                                                    const CaptureMoment& moment) {
    noteMicrophoneFormat(buffer.format());
    const std::int64_t written = mic_.wav.writtenPCMFrameCount();
    if (moment.firstFrame)
        appendSilence(mic_, mic_.timeline.framesMissing(*moment.firstFrame, written));
    else
        mic_.timeline.noteArrival(moment.arrival, outputFrames(buffer), written);
    std::vector<float> samples;
    try {
        samples = mic_.converter.convertMicBufferForDualTrack(buffer);
    } catch (const RecorderError& error) {
        logMicConvertFailureOnce("dual-track mic path failed: " + error.description());
        return;
    }
    if (samples.empty()) {
        logMicConvertFailureOnce("dual-track mic convert produced 0 samples");
        return;
    }
    append(mic_, samples);
    feedTranscription(TranscriptionPairing::Side::microphone, std::move(samples));
}

/// Frames that a buffer becomes in the file.
std::int64_t DualTrackPcmWavCaptureSession::outputFrames(const PcmBuffer& buffer) const {
    return static_cast<std::int64_t>(buffer.frameLength() * mixBusSampleRateHz_ /
                                     buffer.format().sampleRate());
}

void DualTrackPcmWavCaptureSession::noteMicrophoneFormat(const AudioFormat& format) {
    {
        const std::lock_guard hold(sessionLock_);
        const bool isAnother = lastMicHardwareFormat_ && *lastMicHardwareFormat_ != format;
        lastMicHardwareFormat_ = format;
        if (!isAnother) return;
        loggedMicConvertFailure_ = false;
    }
    mic_.converter.resetConversionStateForRouteChange();
}

void DualTrackPcmWavCaptureSession::logMicConvertFailureOnce(const std::string& message) {
    const std::lock_guard hold(sessionLock_);
    if (loggedMicConvertFailure_) return;
    loggedMicConvertFailure_ = true;
    log_.line(message);
}

/// Errors stay with the writer, which repeats them when it is finalized or appended to; capture
/// goes on for the sake of the other track.
void DualTrackPcmWavCaptureSession::append(Track& track, std::span<const float> samples) {
    const auto count = framesThatFit(track, static_cast<std::int64_t>(samples.size()));
    try {
        track.wav.appendMonoFloatSync(samples.first(static_cast<std::size_t>(count)));
    } catch (const RecorderError& error) {
        logWriteFailureOnce(track, error);
    }
}

void DualTrackPcmWavCaptureSession::appendSilence(Track& track, std::int64_t frames) {
    try {
        track.wav.appendSilenceSync(framesThatFit(track, frames));
    } catch (const RecorderError& error) {
        logWriteFailureOnce(track, error);
    }
}

void DualTrackPcmWavCaptureSession::logWriteFailureOnce(Track& track, const RecorderError& error) {
    if (std::exchange(track.loggedWriteFailure, true)) return;
    log_.line(std::string("dual-track ") + track.name + " track ends here: " + error.description());
}

std::int64_t DualTrackPcmWavCaptureSession::framesThatFit(Track& track, std::int64_t frames) {
    const std::int64_t room = maximumFramesPerTrack_ - track.wav.writtenPCMFrameCount();
    if (frames <= room) return frames;
    if (!std::exchange(track.loggedFull, true))
        log_.line(std::string("dual-track ") + track.name + " track is full after " +
                  std::to_string(maximumFramesPerTrack_) +
                  " frames, all that a WAV file can hold; the rest of it is not recorded");
    return room;
}

void DualTrackPcmWavCaptureSession::feedTranscription(TranscriptionPairing::Side side,
                                                      std::vector<float> samples) {
    if (!isTranscribed_.load() || samples.empty()) return;
    sttQueue_->async([weak = weak_from_this(), side, samples = std::move(samples)] {
        const auto self = weak.lock();
        if (!self) return;
        if (self->speakerAttributor_) {
            if (side == TranscriptionPairing::Side::system)
                self->speakerAttributor_->updateSystemLevel(samples);
            else
                self->speakerAttributor_->updateMicLevel(samples);
        }
        self->pairing_.push(side, samples);
    });
}

void DualTrackPcmWavCaptureSession::resetSystemPathForRouteChange() {
    systemWriteQueue_->async([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->system_.converter.resetConversionStateForRouteChange();
        self->system_.timeline.expectGap();
    });
}

void DualTrackPcmWavCaptureSession::resetMicrophonePathForRouteChange() {
    micWriteQueue_->async([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->mic_.converter.resetConversionStateForRouteChange();
        self->mic_.timeline.expectGap();
        const std::lock_guard hold(self->sessionLock_);
        self->lastMicHardwareFormat_.reset();
        self->loggedMicConvertFailure_ = false;
    });
}

void DualTrackPcmWavCaptureSession::insertMicrophoneSilenceForRouteGap(std::int64_t samples) {
    if (samples <= 0) return;
    micWriteQueue_->async([weak = weak_from_this(), samples] {
        if (const auto self = weak.lock()) self->appendSilence(self->mic_, samples);
    });
}

void DualTrackPcmWavCaptureSession::alignSystemTrackToMicTimelineSync() {
    systemWriteQueue_->sync([this] { padSystemWavToMicLengthOnSystemWriteQueue(); });
}

void DualTrackPcmWavCaptureSession::finalizeWritersSync() {
    micWriteQueue_->sync([] {});
    alignSystemTrackToMicTimelineSync();
    sttQueue_->sync([] {});
    system_.wav.finalizeSync();
    mic_.wav.finalizeSync();
}

void DualTrackPcmWavCaptureSession::logDiagnosticsAfterStopCapture() {
    const std::lock_guard hold(statsLock_);
    log_.line("dual-track after stop: mic callbacks=" + std::to_string(micCallbacksTotal_) +
              "; system callbacks=" + std::to_string(systemCallbacksTotal_) +
              "; mixBusHz=" + shortestText(mixBusSampleRateHz_));
}

DualTrackCaptureMeta DualTrackPcmWavCaptureSession::captureMeta() const {
    return {mic_.timeline.origin(), system_.timeline.origin()};
}

}  // namespace tapwell
