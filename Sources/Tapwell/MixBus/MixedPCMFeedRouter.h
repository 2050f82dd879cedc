#pragma once

#include "Platform/Clock.h"
#include "Platform/QueueFactory.h"
#include "Platform/SampleRateConverter.h"
#include "Tapwell/Configuration/RecorderUploadLayout.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/MixBus/CaptureReceiver.h"
#include "Tapwell/MixBus/DualStreamMixer.h"
#include "Tapwell/MixBus/PCMToMixBusConverter.h"
#include "Tapwell/MixBus/SampleTimeCheck.h"
#include "Tapwell/MixBus/StreamContinuity.h"
#include "Tapwell/MixBus/SystemClockEstimate.h"
#include "Tapwell/Outputs/MixedPCMSampleBuilder.h"
#include "Tapwell/Outputs/RecorderDebugMixedWavSink.h"
#include "Tapwell/Outputs/RtmpsPcmStdoutSink.h"
#include "Tapwell/Outputs/StereoPCMSampleBuilder.h"
#include "Tapwell/Outputs/TrackSink.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <variant>

namespace tapwell {

/// Joins capture to outputs: converts every buffer of both streams on its capture queue, and on one
/// serial queue mixes them, wraps the frames and appends them to the sink.
///
/// Owned through a shared pointer; buffers on their way when the last owner lets go are dropped.
class MixedPCMFeedRouter final : public CaptureReceiver,
                                 public std::enable_shared_from_this<MixedPCMFeedRouter> {
public:
    struct Services {
        QueueFactory& queues;
        Clock& clock;
        SampleRateConverterFactory& converters;
        StandardStreams& streams;
    };

    /// Into a file. `mixBusSampleRateHz`: the session's mix rate. `debugWavSink` may be null, and
    /// is not kept in the stereo layout. Throws RecorderError for a rate that the converters
    /// refuse.
    static std::shared_ptr<MixedPCMFeedRouter> create(
        const Services& services, std::shared_ptr<TrackSink> sink, double mixBusSampleRateHz,
        RecorderUploadLayout uploadLayout,
        std::shared_ptr<RecorderDebugMixedWavSink> debugWavSink = nullptr);

    /// Onto standard output, in the stereo layout, with no file.
    static std::shared_ptr<MixedPCMFeedRouter> create(
        const Services& services, std::shared_ptr<RtmpsPcmStdoutSink> rtmpsPcmSink,
        double mixBusSampleRateHz);

    void setCaptureStarted(bool started) override { captureStarted_.store(started); }
    /// System audio waits for the microphone's first samples, for up to half a second of audio. The
    /// mixer aligns its streams against what it has not yet given out, so whatever it gave out
    /// alone, while the microphone's first buffer is on its way or fills a filter, would shift them
    /// against each other.
    void expectMicrophone() override { awaitsMicrophone_ = true; }

    /// Gets each frame of the mono mix, on the mix queue.
    void setSttCallback(SttCallback callback) override;

    void handleSystem(const PcmBuffer& buffer, const AudioTimeStamp& stamp,
                      std::optional<double> aggregateRateHintHz) override;
    void handleMicrophone(const PcmBuffer& buffer, const AudioTime& when) override;

    void resetSystemPathForRouteChange() override { systemPathResetPending_.store(true); }
    void resetMicrophonePathForRouteChange() override { micPathResetPending_.store(true); }

    /// At stop: every sample that was handed over, and what the filters still hold, reaches the
    /// sink before this returns. Both capture queues must have come to rest.
    void flushMixedTail();

    /// The recording goes on with silence.
    void bothStreamsQuietUntil(double hostSeconds) override;

    /// Writes the counters to the log.
    void logDiagnosticsAfterStopCapture();

private:
    using Source = CaptureStream;

    /// Where frames go; those that there are.
    struct Sinks {
        std::shared_ptr<TrackSink> file;
        std::shared_ptr<RtmpsPcmStdoutSink> rtmpsPcm;
        std::shared_ptr<RecorderDebugMixedWavSink> debugWav;
    };

    MixedPCMFeedRouter(const Services& services, Sinks sinks, double mixBusSampleRateHz,
                       RecorderUploadLayout uploadLayout);

    MediaTime systemPresentationTime(const PcmBuffer& buffer, const AudioTimeStamp& stamp,
                                     std::optional<double> clockHz,
                                     std::optional<double> aggregateRateHintHz) const;
    std::optional<std::int64_t> countMicrophoneCallback();
    void logMicConvertFailureOnce(const std::string& message);
    static MixBusChunk takeTail(PCMToMixBusConverter& converter, bool& isInterrupted);
    void endStream(Source source, PCMToMixBusConverter& converter, bool& isInterrupted);
    void handToMixQueue(Source source, MixBusChunk chunk);
    void pushAndDrain(Source source, const MixBusChunk& chunk);
    bool holdBack(Source source, const MixBusChunk& chunk);
    void releaseHeldBack();
    DualStreamMixer::EmitFrame emitter();
    void emitFrame(MediaTime presentationTime, const std::vector<float>& frame);
    SampleBuffer buildSampleBuffer(MediaTime presentationTime, const std::vector<float>& frame);

    const RecorderUploadLayout uploadLayout_;
    const double mixBusSampleRateHz_;
    const std::int32_t cmPreferredTimescale_;
    const Clock& clock_;
    const Log log_;
    PCMToMixBusConverter systemConverter_;  ///< of the tap's queue
    PCMToMixBusConverter micConverter_;     ///< of the microphone's queue
    SystemClockEstimate systemClock_;
    SampleTimeCheck systemFrames_;      ///< of the tap's queue
    SampleTimeCheck micFrames_;         ///< of the microphone's queue
    bool systemIsInterrupted_ = false;  ///< of the tap's queue
    bool micIsInterrupted_ = false;     ///< of the microphone's queue
    const Sinks sinks_;
    std::atomic<bool> captureStarted_{false};
    std::atomic<bool> systemPathResetPending_{false};
    std::atomic<bool> micPathResetPending_{false};

    // Of the mix queue alone.
    SttCallback sttCallback_;
    const std::unique_ptr<DualStreamMixer> mixer_;
    StreamContinuity continuity_;
    bool awaitsMicrophone_ = false;
    std::vector<MixBusChunk> heldBack_;  ///< system audio that waits for the microphone
    std::size_t heldBackSamples_ = 0;
    std::variant<MixedPCMSampleBuilder, StereoPCMSampleBuilder> sampleBuilder_;

    std::mutex statsLock_;
    std::int64_t micCallbacksTotal_ = 0;
    std::int64_t micCallbacksDroppedBeforeStart_ = 0;
    std::int64_t micCallbacksInvalid_ = 0;
    std::int64_t systemCallbacksTotal_ = 0;

    std::mutex diagLock_;
    bool loggedMicConvertFailure_ = false;

    const std::shared_ptr<SerialQueue> mixQueue_;
};

}  // namespace tapwell
