#include "Tapwell/Capture/MicrophonePCMEngine.h"

#include "Platform/RecorderError.h"
#include "Tapwell/Capture/CoreAudioRecordingUtils.h"
#include "Tapwell/Diagnostics/TextFormat.h"

namespace tapwell {
namespace {

constexpr int kNoDevice = 60;
constexpr int kNoHandler = 61;
constexpr int kCreateFailed = 63;
constexpr int kStartFailed = 64;
constexpr double kFallbackRateHz = 48000;
constexpr const char* kDefaultInputChanged = "kAudioHardwarePropertyDefaultInputDevice";

}  // namespace

std::shared_ptr<MicrophonePCMEngine> MicrophonePCMEngine::create(const Services& services,
                                                                 Log log) {
    return std::shared_ptr<MicrophonePCMEngine>(new MicrophonePCMEngine(services, std::move(log)));
}

MicrophonePCMEngine::MicrophonePCMEngine(const Services& services, Log log)
    : hardware_(services.hardware),
      clock_(services.clock),
      log_(std::move(log)),
      ioQueue_(services.queues.makeSerialQueue("Tapwell.MicrophonePCMEngine.io",
                                               QualityOfService::userInteractive)),
      restartQueue_(services.queues.makeSerialQueue("Tapwell.MicrophonePCMEngine.restart")) {}

MicrophonePCMEngine::~MicrophonePCMEngine() {
    // Nobody else holds the engine now, so nothing of it runs on its queues.
    removeDefaultInputListener();
    stopIOProc();
}

void MicrophonePCMEngine::start(PcmHandler onPCM) {
    if (started_) return;
    pcmHandler_ = std::make_shared<const PcmHandler>(std::move(onPCM));
    startIOProcOnDefaultInputDevice();
    restartQueue_->sync([this] {
        installDefaultInputListener();
        started_ = true;
        if (defaultInputPropertyListener_) defaultInputChanged();  // while it was installed
    });
}

void MicrophonePCMEngine::stop() {
    restartQueue_->sync([this] {
        cancelPendingRestart();
        cancelPendingRetry();
        if (pendingTakeUpWork_) pendingTakeUpWork_->cancel();
        removeDefaultInputListener();
        stopIOProc();
        pcmHandler_.reset();
        started_ = false;
    });
    ioQueue_->sync([] {});  // a cycle that was under way has run to its end
    log_.line("stopped");
}

void MicrophonePCMEngine::suppressDebouncedInputRestart(std::chrono::nanoseconds forDuration) {
    restartQueue_->async([weak = weak_from_this(), forDuration] {
        const auto self = weak.lock();
        if (!self) return;
        self->suppressInputDeviceRestartUntil_ = self->clock_.now() + forDuration;
        self->scheduleTakeUpAfterSuppression(forDuration);
    });
}

void MicrophonePCMEngine::cancelPendingDebouncedMicRestartSync() {
    restartQueue_->sync([this] { cancelPendingRestart(); });
}

void MicrophonePCMEngine::restartIfDeviceChangedSync() {
    restartQueue_->sync([this] {
        if (!pcmHandler_) return;
        const auto current = recorderDefaultInputDeviceObjectID(hardware_);
        if (!current || *current == captureDeviceID_) return;
        log_.line("input device changed during system tap rebuild (capture=" +
                  std::to_string(captureDeviceID_) + " current=" + std::to_string(*current) +
                  ") — restarting");
        restartMicCapture("deviceChangedDuringSystemTapRebuild", 0);
    });
}

void MicrophonePCMEngine::scheduleTakeUpAfterSuppression(std::chrono::nanoseconds delay) {
    if (pendingTakeUpWork_) pendingTakeUpWork_->cancel();
    pendingTakeUpWork_ = std::make_shared<WorkItem>([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->takeUpSuppressedChange();
    });
    restartQueue_->asyncAfter(delay, pendingTakeUpWork_);
}

/// A restart that is on its way sees to the change by itself.
void MicrophonePCMEngine::takeUpSuppressedChange() {
    pendingTakeUpWork_.reset();
    if (!pcmHandler_ || pendingRestartWork_ || pendingRetryWork_) return;
    const auto current = recorderDefaultInputDeviceObjectID(hardware_);
    if (!current || *current == captureDeviceID_) return;
    log_.line("input device changed while its restart was suppressed (capture=" +
              std::to_string(captureDeviceID_) + " current=" + std::to_string(*current) +
              ") — scheduling mic capture restart");
    enqueueDebouncedMicRestart(kDefaultInputChanged);
}

void MicrophonePCMEngine::startIOProcOnDefaultInputDevice() {
    const auto device = recorderDefaultInputDeviceObjectID(hardware_);
    if (!device) throw RecorderError(kNoDevice, "No default input device available");
    registerAndStartIOProc(*device, resolveInputFormat(*device));
    lastObservedDefaultInputDeviceID_ = *device;
}

AudioFormat MicrophonePCMEngine::resolveInputFormat(AudioObjectID device) const {
    if (const auto stream = recorderVirtualInputStreamFormat(hardware_, device)) {
        if (const auto format = AudioFormat::fromStreamDescription(*stream)) return *format;
    }
    const double rate = recorderNominalSampleRate(hardware_, device).value_or(kFallbackRateHz);
    log_.line("WARNING: could not read stream format for device " + std::to_string(device) +
              " — using Float32 mono " + shortestText(rate) + " Hz fallback");
    const auto fallback = AudioFormat::make(CommonFormat::pcmFloat32, rate, 1, false);
    if (!fallback)
        throw RecorderError(kNoDevice,
                            "Cannot create audio format for device " + std::to_string(device));
    return *fallback;
}

void MicrophonePCMEngine::registerAndStartIOProc(AudioObjectID device, const AudioFormat& format) {
    if (!pcmHandler_) throw RecorderError(kNoHandler, "Mic handler unexpectedly nil");
    AudioIOProcID proc = 0;
    OSStatus status = hardware_.createIOProcID(
        proc, device, ioQueue_,
        [format, handler = pcmHandler_](const AudioTimeStamp&, AudioBufferList input,
                                        const AudioTimeStamp& inputTime) {
            const auto buffer = PcmBuffer::wrappingNoCopy(format, input);
            if (buffer && buffer->frameLength() > 0)
                (*handler)(*buffer, AudioTime(inputTime, format.sampleRate()));
        });
    if (status != noErr)
        throw RecorderError(kCreateFailed, "AudioDeviceCreateIOProcIDWithBlock failed: OSStatus " +
                                               std::to_string(status));
    status = hardware_.startDevice(device, proc);
    if (status != noErr) {
        hardware_.destroyIOProcID(device, proc);
        throw RecorderError(kStartFailed,
                            "AudioDeviceStart failed: OSStatus " + std::to_string(status));
    }
    captureDeviceID_ = device;
    deviceProcID_ = proc;
    captureFormat_ = format;
    started_ = true;

    const auto nominal = recorderNominalSampleRate(hardware_, device);
    log_.line("started halIn=" + std::to_string(device) +
              " nominal=" + (nominal ? fixedText(*nominal, 0) : std::string("nil")) +
              " Hz format sr=" + shortestText(format.sampleRate()) +
              " ch=" + std::to_string(format.channelCount()) +
              " interleaved=" + boolText(format.isInterleaved()));
}

void MicrophonePCMEngine::stopIOProc() {
    if (deviceProcID_) {
        hardware_.stopDevice(captureDeviceID_, *deviceProcID_);
        hardware_.destroyIOProcID(captureDeviceID_, *deviceProcID_);
    }
    deviceProcID_.reset();
    captureFormat_.reset();
    captureDeviceID_ = kAudioObjectUnknown;
}

void MicrophonePCMEngine::installDefaultInputListener() {
    if (defaultInputPropertyListener_) return;
    auto listener = std::make_shared<AudioPropertyListenerBlock>(
        [weak = weak_from_this()](std::span<const AudioObjectPropertyAddress>) {
            if (const auto self = weak.lock()) self->defaultInputChanged();
        });
    const OSStatus status = hardware_.addPropertyListener(
        kAudioObjectSystemObject, defaultInputPropertyAddress_, restartQueue_, listener);
    if (status != noErr) {
        log_.line("AudioObjectAddPropertyListenerBlock(DefaultInputDevice) failed: " +
                  std::to_string(status));
        return;
    }
    defaultInputPropertyListener_ = std::move(listener);
}

void MicrophonePCMEngine::removeDefaultInputListener() {
    if (!defaultInputPropertyListener_) return;
    hardware_.removePropertyListener(kAudioObjectSystemObject, defaultInputPropertyAddress_,
                                     restartQueue_, defaultInputPropertyListener_);
    defaultInputPropertyListener_.reset();
}

void MicrophonePCMEngine::defaultInputChanged() {
    const auto device = recorderDefaultInputDeviceObjectID(hardware_);
    if (!device) return;
    // The captured device counts too: the default may have changed just before it was observed.
    const bool isCaptured = captureDeviceID_ == *device || pendingRetryWork_;
    if (lastObservedDefaultInputDeviceID_ == *device && isCaptured) return;
    log_.line("default input device changed (id=" + std::to_string(*device) +
              ") — scheduling mic capture restart");
    enqueueDebouncedMicRestart(kDefaultInputChanged);
}

void MicrophonePCMEngine::enqueueDebouncedMicRestart(const std::string& reason) {
    cancelPendingRestart();
    pendingRestartWork_ = std::make_shared<WorkItem>([weak = weak_from_this(), reason] {
        const auto self = weak.lock();
        if (!self) return;
        self->pendingRestartWork_.reset();
        const auto until = self->suppressInputDeviceRestartUntil_;
        if (until && self->clock_.now() < *until) {
            self->log_.line("skipped debounced input restart (" + reason +
                            "); system tap rebuild will restart mic");
            return;
        }
        self->restartMicCapture(reason, 0);
    });
    restartQueue_->asyncAfter(restartDebounce, pendingRestartWork_);
}

void MicrophonePCMEngine::restartMicCapture(const std::string& reason, int retryIndex) {
    if (!pcmHandler_) return;
    cancelPendingRetry();
    if (willResetAudioGraph_) willResetAudioGraph_();
    stopIOProc();
    if (captureBeginsAnew_) ioQueue_->async([hook = captureBeginsAnew_] { (*hook)(); });
    try {
        startIOProcOnDefaultInputDevice();
    } catch (const RecorderError& error) {
        restartFailed(reason, retryIndex, error.description());
        return;
    }
    lastObservedDefaultInputDeviceID_ = recorderDefaultInputDeviceObjectID(hardware_);
    if (didResetAudioGraph_) didResetAudioGraph_();
}

void MicrophonePCMEngine::restartFailed(const std::string& reason, int retryIndex,
                                        const std::string& error) {
    const int attempt = retryIndex + 1;
    log_.line("restart after " + reason + " failed (attempt " + std::to_string(attempt) + "/" +
              std::to_string(maxRestartAttempts) + "): " + error);
    if (attempt >= maxRestartAttempts) {
        log_.line("mic capture stopped after " + std::to_string(maxRestartAttempts) +
                  " failed restart attempts");
        // Nothing is captured any more, so whatever becomes the default is a change.
        lastObservedDefaultInputDeviceID_.reset();
        return;
    }
    pendingRetryWork_ =
        std::make_shared<WorkItem>([weak = weak_from_this(), reason = reason + "-retry", attempt] {
            if (const auto self = weak.lock()) self->restartMicCapture(reason, attempt);
        });
    restartQueue_->asyncAfter(restartRetryDelay, pendingRetryWork_);
}

void MicrophonePCMEngine::cancelPendingRestart() {
    if (pendingRestartWork_) pendingRestartWork_->cancel();
    pendingRestartWork_.reset();
}

void MicrophonePCMEngine::cancelPendingRetry() {
    if (pendingRetryWork_) pendingRetryWork_->cancel();
    pendingRetryWork_.reset();
}

}  // namespace tapwell
