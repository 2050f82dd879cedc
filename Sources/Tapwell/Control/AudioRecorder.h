#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/AudioHardware.h"
#include "Platform/Authorization.h"
#include "Platform/Clock.h"
#include "Platform/Environment.h"
#include "Platform/PrivateFile.h"
#include "Platform/QueueFactory.h"
#include "Platform/SampleRateConverter.h"
#include "Platform/StandardStreams.h"
#include "Tapwell/Capture/CapturePermissions.h"
#include "Tapwell/Capture/MicrophonePCMEngine.h"
#include "Tapwell/Control/AudioRecorderProgressState.h"
#include "Tapwell/Control/CaptureWatchdog.h"
#include "Tapwell/Control/FirstBuffers.h"
#include "Tapwell/Control/OutputRouteMonitor.h"
#include "Tapwell/Control/RecordingOutput.h"
#include "Tapwell/Control/SystemAudioCapture.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/Protocol/EventEmitter.h"
#include "Tapwell/Transcription/SpeechRecognitionProvider.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace tapwell {

/// The one recorder of the process: turns "start" into a running capture graph and "stop" into an
/// orderly drain that ends with the finished file.
///
/// Used from the command loop only, one call at a time. Failures to start are reported as error
/// events after what was built has been torn down; the next start can succeed.
class AudioRecorder {
public:
    struct Services {
        AudioHardware& hardware;
        SampleRateConverterFactory& converters;
        AssetWriterFactory& writers;
        PrivateFileFactory& files;
        QueueFactory& queues;
        Clock& clock;
        Authorization& authorization;
        Environment& environment;
        StandardStreams& streams;
        CreateSpeechProvider createSpeechProvider;  ///< may be empty: no transcription
    };

    /// How long a start waits for both devices to deliver before it goes on with one.
    static constexpr std::chrono::milliseconds firstBuffersTimeout{1500};
    /// How long the microphone's own restart is held off by a rebuild of the system tap: when that
    /// is scheduled, and again when it runs.
    static constexpr std::chrono::milliseconds micRestartSuppression{1000};

    /// Pre-creates a speech provider where live transcription is switched on.
    explicit AudioRecorder(Services services);
    /// Stops capture. A recording that was not stopped stays as the fragments written so far.
    ~AudioRecorder();

    /// Begins a recording into `outputPath`, which must not exist, and emits `started`, or emits
    /// one error event.
    void start(const std::string& outputPath);

    /// Ends the recording, finishes its file and emits `finalized`. Does nothing when idle.
    void stop();

    bool isRecording() const { return micEngine_ != nullptr; }
    const CapturePermissions& permissions() const { return permissions_; }

private:
    void prewarmSpeechProvider();
    enum class CaptureMode { singleFile, dualTrack, rtmps };

    CaptureMode chooseCaptureMode() const;
    void chooseSessionMixRate(CaptureMode mode);
    std::unique_ptr<RecordingOutput> makeOutput(CaptureMode mode);
    void startCapture();
    void startTranscription();
    void startFollowingDevices();
    void stopFollowingDevices();
    bool rebuildSystemTap();
    void logRouteCaptureRate() const;
    void stopCapture();
    void finishOutput();
    void failStart(const std::string& code, const std::string& message);
    void tearDownAfterFailedStart();
    std::string nominalRateText(std::optional<AudioObjectID> device) const;

    const Services services_;
    const Log log_;
    const EventEmitter events_;
    const CapturePermissions permissions_;

    const std::shared_ptr<SerialQueue> systemOutputRouteQueue_;
    SystemAudioCapture systemAudio_;  ///< of the route monitor while that is registered
    std::shared_ptr<MicrophonePCMEngine> micEngine_;
    std::shared_ptr<OutputRouteMonitor> routeMonitor_;
    std::shared_ptr<CaptureWatchdog> watchdog_;
    std::unique_ptr<RecordingOutput> output_;
    std::shared_ptr<SpeechRecognitionProvider> sttProvider_;
    std::shared_ptr<SpeechRecognitionProvider> prewarmedSTTProvider_;
    double sessionMixHz_ = 48000;
    AudioRecorderProgressState progressState_;
    std::string outputPath_;
};

}  // namespace tapwell
