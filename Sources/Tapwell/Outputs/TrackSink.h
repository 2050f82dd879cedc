#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/QueueFactory.h"
#include "Platform/SampleBuffer.h"
#include "Tapwell/Diagnostics/Log.h"
#include "Tapwell/Outputs/FinishTask.h"
#include "Tapwell/Outputs/SampleBufferQueue.h"
#include "Tapwell/Outputs/TrackSinkEncoding.h"
#include "Tapwell/Protocol/EventEmitter.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tapwell {

struct TrackSinkDrain {
    /// How long a drain waits for a writer that is not ready.
    static constexpr std::chrono::milliseconds backoff{4};
};

/// Turns a stream of sample buffers into one AAC file. The writer is set up by the first buffer;
/// every buffer goes through a queue, so that producers never wait for the encoder or the disk. At
/// the end everything queued is appended before the file is finished.
///
/// Owned through a shared pointer; work that is still scheduled when the last owner lets go does
/// nothing.
class TrackSink : public std::enable_shared_from_this<TrackSink> {
public:
    /// Gets the byte size of each appended buffer, on the append queue.
    using OnBytes = std::function<void(std::int64_t)>;

    struct Services {
        AssetWriterFactory& writers;
        QueueFactory& queues;
        StandardStreams& streams;
    };

    /// Creates the file at `outputPath`. `label` names the sink in logs and messages. Throws the
    /// writer's RecorderError when the file cannot be made.
    static std::shared_ptr<TrackSink> create(const Services& services, std::string outputPath,
                                             std::string label, TrackSinkEncoding encoding,
                                             OnBytes onBytes);
    ~TrackSink();

    /// Takes the next buffer; producers on several threads may call. Failures to set the writer up
    /// are reported as error events, and the next buffer tries again.
    void append(const SampleBuffer& buffer);

    /// Returns when fewer than `count` buffers are queued: for a producer that is faster than the
    /// encoder and can wait.
    void awaitRoom(std::int64_t count);

    /// Appends what is queued and finishes the file; the task completes when that is done, whether
    /// it went well or not. When nothing was ever written: removes the file and returns nothing.
    /// Once, after the last append.
    std::optional<FinishTask> finishWriter();

    /// Why the file is not, or will not be, what was appended. Any thread.
    std::optional<RecorderError> writerError() const { return writer_->error(); }

    // Counters, for logs. Any thread.
    std::int64_t appendedBufferCount() const { return appendedBufferCount_.load(); }
    std::int64_t appendFailureCount() const { return appendFailureCount_.load(); }
    std::int64_t bytesWritten() const { return bytesWritten_.load(); }
    bool hadAnySample() const { return hadAnySample_.load(); }

    /// What the writer encodes to for a source format: AAC at the source's rate and channel count.
    /// The bit rate is 2.5 bits a sample of one channel, within [28000, 96000]; it depends on the
    /// rate alone. Ends the process for a rate whose product is no integer's worth.
    static AudioOutputSettings aacOutputSettings(
        const AudioFormatDescription& matchingSourceFormat);

private:
    TrackSink(const Services& services, std::string outputPath, std::string label,
              TrackSinkEncoding encoding, OnBytes onBytes);

    void setUpWriter(const SampleBuffer& firstSample);
    void enqueue(const SampleBuffer& buffer);
    void reportStartFailure(const std::string& message) const;
    bool writerTakesMore() const;
    void scheduleDrain();
    void scheduleBackoffDrainIfNeeded();
    void drainSampleQueueSchedulingMoreIfNeeded();
    void appendOneBuffer(const SampleBuffer& buffer);
    void signalRoomIfThereIs();
    void attemptFinalizeIfNeeded();
    void writerFinished(const std::shared_ptr<Semaphore>& finishContinuation);
    std::string writerErrorText() const;

    const std::string outputPath_;
    const std::string label_;
    const TrackSinkEncoding encoding_;
    const Log log_;
    const EventEmitter events_;
    QueueFactory& queues_;
    const std::unique_ptr<AssetWriter> writer_;
    const OnBytes onBytes_;
    const std::shared_ptr<SerialQueue> appendQueue_;
    SampleBufferQueue sampleQueue_;

    std::mutex setupLock_;
    bool writerSetup_ = false;                 ///< guarded by setupLock_
    std::shared_ptr<AssetWriterInput> input_;  ///< set once under setupLock_, before any drain

    // Of the append queue alone.
    bool finishRequested_ = false;
    bool finalizeStarted_ = false;
    bool backoffDrainScheduled_ = false;
    std::function<void()> onSampleQueueDrained_;  ///< runs once
    std::shared_ptr<Semaphore> finishContinuation_;
    std::int64_t roomCount_ = 0;
    std::shared_ptr<Semaphore> room_;  ///< signalled when fewer than roomCount_ are queued

    std::atomic<std::int64_t> bytesWritten_{0};
    std::atomic<bool> hadAnySample_{false};
    std::atomic<std::int64_t> appendedBufferCount_{0};
    std::atomic<std::int64_t> appendFailureCount_{0};
};

}  // namespace tapwell
