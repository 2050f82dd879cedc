#pragma once

#include "Platform/AudioFormat.h"
#include "Platform/AudioHardware.h"
#include "Platform/AudioTime.h"
#include "Platform/Clock.h"
#include "Platform/PcmBuffer.h"
#include "Platform/QueueFactory.h"
#include "Tapwell/Diagnostics/Log.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tapwell {

/// Captures the default input device and follows it: when the user switches microphones, capture
/// restarts on the new one after a debounce, with a bounded number of tries.
///
/// `start` and `stop` come from the recorder's control path. Everything that changes capture
/// afterwards runs on the restart queue; the `…Sync` calls and `stop` must not be made from there.
class MicrophonePCMEngine : public std::enable_shared_from_this<MicrophonePCMEngine> {
public:
    /// Gets each I/O cycle's audio, wrapping the device's memory, and its time; on the I/O queue.
    using PcmHandler = std::function<void(const PcmBuffer& buffer, const AudioTime& when)>;

    static constexpr int maxRestartAttempts = 5;
    static constexpr std::chrono::milliseconds restartDebounce{550};
    static constexpr std::chrono::milliseconds restartRetryDelay{350};

    struct Services {
        AudioHardware& hardware;
        QueueFactory& queues;
        const Clock& clock;
    };

    static std::shared_ptr<MicrophonePCMEngine> create(const Services& services, Log log);
    ~MicrophonePCMEngine();

    /// Starts capture on the present default input. Does nothing when started. Throws RecorderError
    /// (codes 60, 61, 63, 64).
    void start(PcmHandler onPCM);

    /// Stops capture. When this returns, the handler runs no more.
    void stop();

    /// For this long from now, a debounced restart does nothing: a rebuild of the system tap is
    /// under way and will see to the microphone. When the time is over and nobody has, the present
    /// default input is taken up as a change noticed then.
    void suppressDebouncedInputRestart(std::chrono::nanoseconds forDuration);
    void cancelPendingDebouncedMicRestartSync();
    /// Restarts capture now when the default input is another device than the captured one.
    void restartIfDeviceChangedSync();

    /// Called on the restart queue around a restart: before capture is torn down, and after it runs
    /// again. Set before `start`.
    void setWillResetAudioGraph(std::function<void()> hook) {
        willResetAudioGraph_ = std::move(hook);
    }
    void setDidResetAudioGraph(std::function<void()> hook) {
        didResetAudioGraph_ = std::move(hook);
    }
    /// Called on the I/O queue at a restart: after the last buffer of the old capture and before
    /// the first of the new one. Set before `start`.
    void setCaptureBeginsAnew(std::function<void()> hook) {
        captureBeginsAnew_ = std::make_shared<const std::function<void()>>(std::move(hook));
    }

private:
    MicrophonePCMEngine(const Services& services, Log log);

    void startIOProcOnDefaultInputDevice();
    AudioFormat resolveInputFormat(AudioObjectID device) const;
    void registerAndStartIOProc(AudioObjectID device, const AudioFormat& format);
    void stopIOProc();
    void installDefaultInputListener();
    void removeDefaultInputListener();
    void defaultInputChanged();
    void enqueueDebouncedMicRestart(const std::string& reason);
    void restartMicCapture(const std::string& reason, int retryIndex);
    void restartFailed(const std::string& reason, int retryIndex, const std::string& error);
    void cancelPendingRestart();
    void cancelPendingRetry();
    void scheduleTakeUpAfterSuppression(std::chrono::nanoseconds delay);
    void takeUpSuppressedChange();

    AudioHardware& hardware_;
    const Clock& clock_;
    const Log log_;
    const std::shared_ptr<SerialQueue> ioQueue_;
    const std::shared_ptr<SerialQueue> restartQueue_;
    static constexpr AudioObjectPropertyAddress defaultInputPropertyAddress_{
        kAudioHardwarePropertyDefaultInputDevice, kAudioObjectPropertyScopeGlobal,
        kAudioObjectPropertyElementMain};

    // Of the restart queue, once started.
    std::shared_ptr<const PcmHandler> pcmHandler_;
    bool started_ = false;
    AudioObjectID captureDeviceID_ = kAudioObjectUnknown;
    std::optional<AudioIOProcID> deviceProcID_;
    std::optional<AudioFormat> captureFormat_;
    std::shared_ptr<WorkItem> pendingRestartWork_;
    std::shared_ptr<WorkItem> pendingRetryWork_;
    std::shared_ptr<WorkItem> pendingTakeUpWork_;
    AudioPropertyListener defaultInputPropertyListener_;
    std::optional<AudioObjectID> lastObservedDefaultInputDeviceID_;
    std::optional<Clock::Date> suppressInputDeviceRestartUntil_;
    std::function<void()> willResetAudioGraph_;
    std::function<void()> didResetAudioGraph_;
    std::shared_ptr<const std::function<void()>> captureBeginsAnew_;
};

}  // namespace tapwell
