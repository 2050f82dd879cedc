#pragma once

#include "Platform/Clock.h"
#include "Platform/MonoResampler.h"
#include "Platform/QueueFactory.h"
#include "Platform/SampleRateConverter.h"
#include "Platform/SpeechEngines.h"
#include "Platform/UserDefaults.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/Protocol/EventEmitter.h"
#include "Tapwell/Transcription/SpeakerAttributor.h"
#include "Tapwell/Transcription/SpeechProviderServices.h"
#include "Tapwell/Transcription/SpeechRecognitionProvider.h"

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tapwell {

/// Live transcription with an analyzer, whose set-up may take long: the audio of the first half
/// minute waits for it. Set-up runs step by step on a queue of its own and blocks nobody.
class SpeechAnalyzerProvider final : public SpeechRecognitionProvider,
                                     public std::enable_shared_from_this<SpeechAnalyzerProvider> {
public:
    /// Seconds of audio that wait for the end of the set-up. The oldest is kept: what comes when
    /// the queue is full is lost.
    static constexpr double maximumPendingSeconds = 30.0;

    /// Returns at once; set-up goes on by itself and logs how it ends. `sampleRate`: Hz of the
    /// samples to be fed. `speakerAttributor` labels the transcripts; may be null.
    static std::shared_ptr<SpeechAnalyzerProvider> create(
        const SpeechProviderServices& services, const std::string& localeIdentifier,
        double sampleRate, std::shared_ptr<const SpeakerAttributor> speakerAttributor);

    std::string typeName() const override { return "SpeechAnalyzerProvider"; }
    void feedPCM(std::span<const float> samples, MediaTime presentationTime) override;
    void stop() override;

private:
    struct PendingBuffer {
        std::vector<float> samples;
        MediaTime presentationTime;
    };

    SpeechAnalyzerProvider(const SpeechProviderServices& services,
                           const std::string& localeIdentifier, double sampleRate,
                           std::shared_ptr<const SpeakerAttributor> speakerAttributor);

    // The steps of the set-up, on setupQueue_. Each one begins the next, or the engine does.
    void setUp();
    void localeChecked(bool supported);
    void formatChosen(std::optional<AudioFormat> format);
    void ensureModelInstalled(SpeechModelStatus status);
    void modelInstalled(std::optional<RecorderError> error);
    void modelChecked();
    void startAnalyzer();
    void analyzerStarted(std::optional<RecorderError> error);
    void setUpFailed(const std::string& error);
    void flushPendingBuffers();
    bool isStopped() const;
    /// Takes the next pending buffer; when there is none, feeding goes straight to the analyzer
    /// from now on.
    std::optional<PendingBuffer> takePendingOrBecomeReady();
    void bufferPending(std::span<const float> samples, MediaTime presentationTime);
    void pushToAnalyzer(std::span<const float> samples, SpeechAnalyzerInput& inputBuilder);
    void handleResult(const SpeechResult& result);
    void emitTranscript(const std::string& text, bool isFinal) const;
    void flushVolatileText();
    static void finalize(const std::shared_ptr<SpeechTranscriber>& transcriber,
                         const std::shared_ptr<SpeechAnalyzer>& analyzer, const Log& log);

    /// A callback for an engine that continues with `step` on the set-up queue.
    template <typename... Arguments>
    std::function<void(Arguments...)> then(void (SpeechAnalyzerProvider::*step)(Arguments...));
    SpeechCompletion thenWithError(
        void (SpeechAnalyzerProvider::*step)(std::optional<RecorderError>));
    std::string takePhaseMilliseconds();
    std::string modelKey() const;

    SpeechEngines& engines_;
    SampleRateConverterFactory& converters_;
    const Clock& clock_;
    UserDefaults& defaults_;
    const Log log_;
    const EventEmitter events_;
    const std::string localeIdentifier_;
    const double sampleRate_;
    const std::shared_ptr<const SpeakerAttributor> speakerAttributor_;
    const Clock::Date setupStartTime_;
    const std::shared_ptr<SerialQueue> setupQueue_;

    // Of the set-up queue.
    Clock::Date phaseStartTime_{};
    std::shared_ptr<SpeechTranscriber> transcriber_;
    std::shared_ptr<SpeechAnalyzer> analyzer_;

    // Of whoever pushes: the set-up queue until `ready_`, then the feeding thread.
    std::optional<AudioFormat> analyzerFormat_;
    std::unique_ptr<MonoResampler> resampler_;  ///< null until a buffer needs it

    mutable std::mutex lock_;
    // Guarded by lock_.
    bool ready_ = false;
    bool stopped_ = false;
    std::shared_ptr<SpeechAnalyzerInput> inputBuilder_;
    std::deque<PendingBuffer> pendingBuffers_;
    std::size_t pendingSampleCount_ = 0;

    /// Held while a transcript is written, so that stopping and a result exclude each other.
    /// Feeding does not take it.
    std::mutex emission_;
    // Guarded by emission_.
    std::string lastVolatileText_;
    bool emitsResults_ = true;
};

}  // namespace tapwell
