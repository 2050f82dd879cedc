#pragma once

#include "Platform/MonoResampler.h"
#include "Platform/QueueFactory.h"
#include "Platform/SampleRateConverter.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/Transcription/SpeechRecognitionProvider.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <span>

namespace tapwell {

/// Carries mono samples of a session to a speech provider, at the rate that the provider was made
/// for, on a queue of its own of low priority: whoever feeds only copies. When the provider does
/// not keep up, what comes while the queue is full is lost, and a log line says so once.
class SpeechFeed : public std::enable_shared_from_this<SpeechFeed> {
public:
    /// Seconds of audio that may wait on the queue.
    static constexpr double maximumQueuedSeconds = 5.0;

    /// Rates in Hz. Null when no converter can be had for them.
    static std::shared_ptr<SpeechFeed> create(QueueFactory& queues,
                                              SampleRateConverterFactory& converters,
                                              const Log& log,
                                              std::shared_ptr<SpeechRecognitionProvider> provider,
                                              double sessionRate, double providerRate);

    /// Takes a copy of the next samples. Any thread that is not real-time; never waits.
    void feed(std::span<const float> samples, MediaTime presentationTime);

private:
    SpeechFeed(QueueFactory& queues, const Log& log,
               std::shared_ptr<SpeechRecognitionProvider> provider, double sessionRate);
    void deliver(std::span<const float> samples, MediaTime presentationTime);

    const Log log_;
    const std::shared_ptr<SpeechRecognitionProvider> provider_;
    const double sessionRate_;
    std::unique_ptr<MonoResampler> resampler_;  ///< null when the rates are equal
    std::atomic<std::size_t> queuedSamples_{0};
    std::atomic<bool> loggedLoss_{false};
    const std::shared_ptr<SerialQueue> queue_;
};

}  // namespace tapwell
