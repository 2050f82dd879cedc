#pragma once

#include "Platform/Clock.h"
#include "Platform/PrivateFile.h"
#include "Platform/QueueFactory.h"
#include "Platform/RecorderError.h"
#include "Platform/SampleRateConverter.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/MixBus/CaptureReceiver.h"
#include "Tapwell/MixBus/PCMToMixBusConverter.h"
#include "Tapwell/Outputs/DualTrackCaptureMeta.h"
#include "Tapwell/Outputs/DualTrackWavPaths.h"
#include "Tapwell/Outputs/MonoPcm16WavFileWriter.h"
#include "Tapwell/Outputs/TrackTimeline.h"
#include "Tapwell/Outputs/TranscriptionPairing.h"
#include "Tapwell/Outputs/WavHeader.h"
#include "Tapwell/Transcription/SpeakerAttributor.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tapwell {

/// Writes the two capture streams, mono at the session's mix rate, into a WAV file each. Nothing is
/// mixed; silence in the system's track keeps it in step with the microphone's.
///
/// Capture callbacks copy and hand over; each track is converted and written on a queue of its own.
/// Owned through a shared pointer; buffers on their way when the last owner lets go are dropped.
class DualTrackPcmWavCaptureSession final
    : public CaptureReceiver,
      public std::enable_shared_from_this<DualTrackPcmWavCaptureSession> {
public:
    struct Services {
        PrivateFileFactory& files;
        SampleRateConverterFactory& converters;
        QueueFactory& queues;
        const Clock& clock;
        StandardStreams& streams;
    };

    /// `onBytes` gets the byte counts of what is written, on either write queue. A track that
    /// holds `maximumFramesPerTrack` takes no more. Throws RecorderError for a mix rate that the
    /// converters refuse; one that is no whole number of Hz ends the process.
    static std::shared_ptr<DualTrackPcmWavCaptureSession> create(
        const Services& services, const DualTrackWavPaths& paths, double mixBusSampleRateHz,
        const MonoPcm16WavFileWriter::OnBytes& onBytes,
        std::int64_t maximumFramesPerTrack = kMaximumWavFrames);

    /// Creates the files. Throws RecorderError.
    void startWriters();

    /// Told the levels of both tracks while there is transcription. Before capture starts.
    void setSpeakerAttributor(std::shared_ptr<SpeakerAttributor> attributor);

    void setCaptureStarted(bool started) override;
    void setSttCallback(SttCallback callback) override;
    void handleSystem(const PcmBuffer& buffer, const AudioTimeStamp& stamp,
                      std::optional<double> aggregateRateHintHz) override;
    void handleMicrophone(const PcmBuffer& buffer, const AudioTime& when) override;
    void resetSystemPathForRouteChange() override;
    void resetMicrophonePathForRouteChange() override;

    /// Puts so many zero samples into the microphone's track: for as long as there was no
    /// microphone. None for a count below 1.
    void insertMicrophoneSilenceForRouteGap(std::int64_t samples);

    /// Brings the system's track to the length of the microphone's, when it is shorter.
    void alignSystemTrackToMicTimelineSync();
    /// Writes what is on its way and closes both files. Throws RecorderError; the samples that
    /// were written are in the files then.
    void finalizeWritersSync();

    void logDiagnosticsAfterStopCapture();

    /// When the tracks' first frames were captured. After finalizeWritersSync.
    DualTrackCaptureMeta captureMeta() const;

private:
    DualTrackPcmWavCaptureSession(const Services& services, const DualTrackWavPaths& paths,
                                  double mixBusSampleRateHz,
                                  const MonoPcm16WavFileWriter::OnBytes& onBytes,
                                  std::int64_t maximumFramesPerTrack);

    /// When a buffer was captured: the host time of its first frame where the device gives it, and
    /// when it was handed over, in host ticks.
    struct CaptureMoment {
        std::optional<std::uint64_t> firstFrame;
        std::uint64_t arrival;
    };

    /// One of the two files, and what its write queue knows of it.
    struct Track {
        const char* name;
        MonoPcm16WavFileWriter wav;
        PCMToMixBusConverter converter;
        TrackTimeline timeline;
        bool loggedFull = false;
        bool loggedWriteFailure = false;
    };

    bool isCapturing();
    void writeSystem(const PcmBuffer& buffer, const CaptureMoment& moment,
                     std::optional<double> aggregateRateHintHz);
    void writeMicrophone(const PcmBuffer& buffer, const CaptureMoment& moment);
    std::int64_t systemFramesMissingBefore(const CaptureMoment& moment, std::int64_t bufferFrames);
    void padSystemWavOnSystemWriteQueue(std::int64_t frames);
    void padSystemWavToMicLengthOnSystemWriteQueue();
    std::int64_t outputFrames(const PcmBuffer& buffer) const;
    void noteMicrophoneFormat(const AudioFormat& format);
    void logMicConvertFailureOnce(const std::string& message);
    void append(Track& track, std::span<const float> samples);
    void appendSilence(Track& track, std::int64_t frames);
    void logWriteFailureOnce(Track& track, const RecorderError& error);
    std::int64_t framesThatFit(Track& track, std::int64_t frames);
    void feedTranscription(TranscriptionPairing::Side side, std::vector<float> samples);

    const double mixBusSampleRateHz_;
    const std::int64_t maximumFramesPerTrack_;
    const Clock& clock_;
    const Log log_;

    Track system_;  ///< of systemWriteQueue_, but for the writer's frame count
    Track mic_;     ///< of micWriteQueue_, but for the writer's frame count
    std::shared_ptr<SpeakerAttributor> speakerAttributor_;
    TranscriptionPairing pairing_;  ///< of sttQueue_
    std::atomic<bool> isTranscribed_{false};

    std::mutex statsLock_;
    std::int64_t micCallbacksTotal_ = 0;     ///< guarded by statsLock_
    std::int64_t systemCallbacksTotal_ = 0;  ///< guarded by statsLock_

    std::mutex sessionLock_;
    bool captureStarted_ = false;                       ///< guarded by sessionLock_
    bool loggedMicConvertFailure_ = false;              ///< guarded by sessionLock_
    std::optional<AudioFormat> lastMicHardwareFormat_;  ///< guarded by sessionLock_

    std::mutex metaLock_;
    std::optional<std::uint64_t> micFirstHostAbsolute_;  ///< guarded by metaLock_

    // Last, so that their work ends before what it uses.
    const std::shared_ptr<SerialQueue> sttQueue_;
    const std::shared_ptr<SerialQueue> systemWriteQueue_;
    const std::shared_ptr<SerialQueue> micWriteQueue_;
};

}  // namespace tapwell
