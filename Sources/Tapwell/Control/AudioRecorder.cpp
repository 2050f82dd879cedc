#include "Tapwell/Control/AudioRecorder.h"

#include "Tapwell/Capture/CoreAudioRecordingUtils.h"
#include "Tapwell/Capture/RecorderCoreAudioError.h"
#include "Tapwell/Configuration/RecorderDualTrackMode.h"
#include "Tapwell/Configuration/RecorderRtmpsMode.h"
#include "Tapwell/Configuration/RecorderSTTMode.h"
#include "Tapwell/Configuration/RecorderUploadLayout.h"
#include "Tapwell/Configuration/RecordingSessionMixSampleRate.h"
#include "Tapwell/Control/DualTrackOutput.h"
#include "Tapwell/Control/RtmpsOutput.h"
#include "Tapwell/Control/SingleFileOutput.h"
#include "Tapwell/Diagnostics/TextFormat.h"
#include "Tapwell/Transcription/SpeechFeed.h"

#include <exception>

namespace tapwell {
namespace {

constexpr const char* kSystemAudioPermissionMessage =
    "System audio capture permission required. Open System Settings → Privacy & Security, find "
    "system audio capture for Tolvane or tapwell, enable it, then restart the app.";

/// Of the modes whose format may not depend on what is plugged in.
constexpr double kFixedMixHz = 48000;

/// Of the speech provider that is made before any session's rate is known.
constexpr double kPrewarmedSpeechHz = 48000;

}  // namespace

AudioRecorder::AudioRecorder(Services services)
    : services_(std::move(services)),
      log_(services_.streams, "mic-debug"),
      events_(services_.streams),
      permissions_({services_.hardware, services_.authorization, services_.environment,
                    services_.queues, services_.streams}),
      systemOutputRouteQueue_(services_.queues.makeSerialQueue("Tapwell.DefaultSystemOutputRoute")),
      systemAudio_({services_.hardware, services_.queues, services_.environment}, log_) {
    if (RecorderSTTMode::isEnabled(services_.environment)) prewarmSpeechProvider();
}

AudioRecorder::~AudioRecorder() {
    stopFollowingDevices();
    stopCapture();
}

void AudioRecorder::prewarmSpeechProvider() {
    if (!services_.createSpeechProvider) return;
    prewarmedSTTProvider_ = services_.createSpeechProvider(services_.environment.localeIdentifier(),
                                                           kPrewarmedSpeechHz);
    if (prewarmedSTTProvider_)
        log_.line("STT pre-warm: created " + prewarmedSTTProvider_->typeName() +
                  " at process launch");
}

void AudioRecorder::start(const std::string& outputPath) {
    if (isRecording()) {
        events_.emitEvent(ErrorEvent{kRecorderAlreadyRunning, "Recording already in progress"});
        return;
    }
    if (!permissions_.ensureMicrophoneAccessForRecording()) return;
    outputPath_ = outputPath;
    progressState_.begin(services_.clock.now());
    try {
        systemAudio_.prepare();
        if (!systemAudio_.tapFormat()) {
            failStart(kDeviceNotAvailable, "Could not resolve tap audio format.");
            return;
        }
        const CaptureMode mode = chooseCaptureMode();
        chooseSessionMixRate(mode);
        micEngine_ = MicrophonePCMEngine::create(
            {services_.hardware, services_.queues, services_.clock}, log_.withArea("mic-engine"));
        output_ = makeOutput(mode);
        startCapture();
    } catch (const RecorderCoreAudioError& error) {
        if (error.isSystemAudioPermissionDenied())
            failStart(kPermissionDeniedSystemAudio, kSystemAudioPermissionMessage);
        else
            failStart(kRecorderStartFailed, error.what());
        return;
    } catch (const std::exception& error) {
        failStart(kRecorderStartFailed, error.what());
        return;
    }
    startTranscription();
    startFollowingDevices();
    events_.emitEvent(StartedEvent{outputPath});
}

AudioRecorder::CaptureMode AudioRecorder::chooseCaptureMode() const {
    if (RecorderRtmpsMode::isEnabled(services_.environment)) return CaptureMode::rtmps;
    if (RecorderDualTrackMode::isEnabled(services_.environment)) return CaptureMode::dualTrack;
    return CaptureMode::singleFile;
}

void AudioRecorder::chooseSessionMixRate(CaptureMode mode) {
    const double tapNominal = systemAudio_.tapFormat()->sampleRate();
    if (mode == CaptureMode::rtmps) {
        sessionMixHz_ = kFixedMixHz;
        log_.line("RTMPS mode: stereo PCM stdout @ " + shortestText(sessionMixHz_) +
                  " Hz (L=mic R=system)");
        return;
    }
    const auto output = recorderDefaultSystemOutputDeviceObjectID(services_.hardware);
    const double routeHz = RecordingSessionMixSampleRate::resolveRouteCaptureRateHz(
        services_.hardware, output, tapNominal, std::nullopt);
    if (mode == CaptureMode::dualTrack) {
        sessionMixHz_ = kFixedMixHz;
        log_.line("dual-track WAV storage=" + fixedText(sessionMixHz_, 1) + " Hz route capture=" +
                  fixedText(routeHz, 1) + " Hz (tap nominal=" + fixedText(tapNominal, 1) +
                  " default output nominal=" + nominalRateText(output) + " input nominal=" +
                  nominalRateText(recorderDefaultInputDeviceObjectID(services_.hardware)) + " Hz)");
        return;
    }
    sessionMixHz_ = routeHz;
    log_.line("session mix bus=" + shortestText(sessionMixHz_) +
              " Hz (tap nominal=" + shortestText(tapNominal) +
              " default output nominal=" + nominalRateText(output) + " input nominal=" +
              nominalRateText(recorderDefaultInputDeviceObjectID(services_.hardware)) + " Hz)");
}

std::string AudioRecorder::nominalRateText(std::optional<AudioObjectID> device) const {
    if (!device) return "nil";
    const auto rate = recorderNominalSampleRate(services_.hardware, *device);
    return rate ? fixedText(*rate, 1) : "nil";
}

std::unique_ptr<RecordingOutput> AudioRecorder::makeOutput(CaptureMode mode) {
    const RecorderUploadLayout layout = currentUploadLayout(services_.environment);
    log_.line(std::string("upload layout=") + layoutName(layout) +
              " (TL_MACOS_UPLOAD_STEREO_LR for stereo L=mic R=system)");
    if (mode == CaptureMode::rtmps)
        return std::make_unique<RtmpsOutput>(
            RtmpsOutput::Services{services_.converters, services_.queues, services_.clock,
                                  services_.streams},
            sessionMixHz_);
    const auto countBytes = [this](std::int64_t bytes) { progressState_.addBytes(bytes); };
    if (mode == CaptureMode::dualTrack)
        return std::make_unique<DualTrackOutput>(
            DualTrackOutput::Services{services_.writers, services_.files, services_.converters,
                                      services_.queues, services_.clock, services_.environment,
                                      services_.streams},
            outputPath_, layout, sessionMixHz_, countBytes);
    return std::make_unique<SingleFileOutput>(
        SingleFileOutput::Services{services_.writers, services_.files, services_.converters,
                                   services_.queues, services_.clock, services_.environment,
                                   services_.streams},
        outputPath_, layout, sessionMixHz_, countBytes);
}

void AudioRecorder::startCapture() {
    const auto firstBuffers = std::make_shared<FirstBuffers>(services_.queues.makeSemaphore());
    // The output outlives the engine.
    micEngine_->setWillResetAudioGraph(
        [output = output_.get()] { output->microphoneWillRestart(); });
    micEngine_->setDidResetAudioGraph([output = output_.get()] { output->microphoneDidRestart(); });
    const auto& receiver = output_->receiver();
    watchdog_ = CaptureWatchdog::create(
        systemOutputRouteQueue_, services_.clock,
        [receiver](double hostSeconds) { receiver->bothStreamsQuietUntil(hostSeconds); }, log_);
    micEngine_->setCaptureBeginsAnew([receiver] { receiver->resetMicrophonePathForRouteChange(); });
    micEngine_->start([receiver, firstBuffers, watchdog = watchdog_](const PcmBuffer& buffer,
                                                                     const AudioTime& when) {
        firstBuffers->microphoneArrived();
        watchdog->microphoneArrived();
        receiver->handleMicrophone(buffer, when);
    });
    systemAudio_.run([receiver, firstBuffers, watchdog = watchdog_](
                         const PcmBuffer& buffer, const AudioTimeStamp& stamp,
                         std::optional<double> rateHintHz) {
        firstBuffers->systemArrived();
        watchdog->systemArrived();
        receiver->handleSystem(buffer, stamp, rateHintHz);
    });
    firstBuffers->awaitBoth(services_.clock, firstBuffersTimeout);
    if (firstBuffers->hasMicrophoneArrived()) receiver->expectMicrophone();
    receiver->setCaptureStarted(true);
}

void AudioRecorder::startTranscription() {
    if (!RecorderSTTMode::isEnabled(services_.environment) || !output_->isTranscribed()) return;
    const std::string locale = services_.environment.localeIdentifier();
    double providerRate = sessionMixHz_;
    if (prewarmedSTTProvider_) {
        log_.line("STT: reusing pre-warmed " + prewarmedSTTProvider_->typeName());
        sttProvider_ = std::exchange(prewarmedSTTProvider_, nullptr);
        providerRate = kPrewarmedSpeechHz;
    } else if (services_.createSpeechProvider) {
        sttProvider_ = services_.createSpeechProvider(locale, sessionMixHz_);
    }
    if (!sttProvider_) {
        log_.line("STT: no provider available for locale=" + locale);
        return;
    }
    log_.line("STT enabled: " + sttProvider_->typeName() + " for locale=" + locale);
    const auto feed = SpeechFeed::create(services_.queues, services_.converters, log_, sttProvider_,
                                         sessionMixHz_, providerRate);
    if (!feed) {
        log_.line("STT: no conversion from " + shortestText(sessionMixHz_) + " to " +
                  shortestText(providerRate) + " Hz");
        std::exchange(sttProvider_, nullptr)->stop();
        return;
    }
    output_->receiver()->setSttCallback(
        [feed](std::span<const float> samples, MediaTime time) { feed->feed(samples, time); });
}

void AudioRecorder::startFollowingDevices() {
    // The recorder and its engine outlive the monitor's registration.
    routeMonitor_ = OutputRouteMonitor::create(
        {services_.hardware, systemOutputRouteQueue_, services_.clock},
        {.holdOffMicrophone =
             [this] {
                 micEngine_->suppressDebouncedInputRestart(micRestartSuppression);
                 micEngine_->cancelPendingDebouncedMicRestartSync();
             },
         .rebuildSystemTap = [this] { return rebuildSystemTap(); },
         .checkMicrophone = [this] { micEngine_->restartIfDeviceChangedSync(); },
         .tappedDevice = [this] { return systemAudio_.outputDevice(); }},
        log_);
    routeMonitor_->registerDefaultSystemOutputRouteMonitoringIfNeeded();
    watchdog_->start();
}

void AudioRecorder::stopFollowingDevices() {
    if (routeMonitor_) routeMonitor_->unregisterDefaultSystemOutputRouteMonitoring();
    routeMonitor_.reset();
    if (watchdog_) watchdog_->stop();
    watchdog_.reset();
}

bool AudioRecorder::rebuildSystemTap() {
    const auto receiver = output_->receiver();
    if (!systemAudio_.rebuild([&] { receiver->resetSystemPathForRouteChange(); })) {
        log_.line("system tap rebuild: tapAVFormat missing after prepare");
        return false;
    }
    log_.line("system tap rebuilt for new default output device");
    if (output_->reportsRouteCaptureRate()) logRouteCaptureRate();
    return true;
}

void AudioRecorder::logRouteCaptureRate() const {
    const double tapNominal = systemAudio_.tapFormat()->sampleRate();
    const auto actual = systemAudio_.actualRateHz();
    const double routeHz = RecordingSessionMixSampleRate::resolveRouteCaptureRateHz(
        services_.hardware, systemAudio_.outputDevice(), tapNominal, actual);
    log_.line("dual-track route capture rate=" + fixedText(routeHz, 1) +
              " Hz (aggregate actual=" + (actual ? fixedText(*actual, 1) : "nil") +
              " tap nominal=" + fixedText(tapNominal, 1) + " Hz)");
}

void AudioRecorder::stop() {
    if (!isRecording()) return;
    if (sttProvider_) {
        output_->receiver()->setSttCallback(nullptr);
        sttProvider_->stop();
        sttProvider_.reset();
    }
    stopFollowingDevices();
    output_->captureWillStop();
    stopCapture();
    finishOutput();
}

void AudioRecorder::finishOutput() {
    const auto output = std::exchange(output_, nullptr);
    try {
        if (const auto size = output->finish()) progressState_.setBytesWritten(*size);
    } catch (const RecorderError& error) {
        events_.emitEvent(ErrorEvent{kRecorderFinalizeFailed, error.description()});
        return;
    }
    events_.emitEvent(FinalizedEvent{outputPath_, progressState_.bytesWritten(),
                                     progressState_.elapsedMs(services_.clock.now())});
}

/// The microphone goes first. Afterwards no capture callback runs any more.
void AudioRecorder::stopCapture() {
    if (micEngine_) {
        micEngine_->stop();
        micEngine_.reset();
    }
    systemAudio_.stop();
}

void AudioRecorder::failStart(const std::string& code, const std::string& message) {
    tearDownAfterFailedStart();
    events_.emitEvent(ErrorEvent{code, message});
}

void AudioRecorder::tearDownAfterFailedStart() {
    if (sttProvider_) sttProvider_->stop();
    sttProvider_.reset();
    // Not kept for the next start: what made this one fail may have broken it too.
    if (prewarmedSTTProvider_) prewarmedSTTProvider_->stop();
    prewarmedSTTProvider_.reset();
    stopFollowingDevices();
    stopCapture();
    if (const auto output = std::exchange(output_, nullptr)) output->abandon();
}

}  // namespace tapwell
