#include "Tapwell/Outputs/TrackSink.h"

#include "RecorderMixBus/Precondition.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

namespace tapwell {
namespace {

constexpr double kBitsPerSample = 2.5;
constexpr std::int64_t kMaxBitRate = 96000;
constexpr std::int64_t kMinBitRate = 28000;

void addTrapping(std::atomic<std::int64_t>& counter, std::int64_t amount) {
    std::int64_t sum = 0;
    precondition(!__builtin_add_overflow(counter.load(), amount, &sum), "counter overflow");
    counter.store(sum);
}

}  // namespace

std::shared_ptr<TrackSink> TrackSink::create(const Services& services, std::string outputPath,
                                             std::string label, TrackSinkEncoding encoding,
                                             OnBytes onBytes) {
    return std::shared_ptr<TrackSink>(new TrackSink(
        services, std::move(outputPath), std::move(label), encoding, std::move(onBytes)));
}

TrackSink::TrackSink(const Services& services, std::string outputPath, std::string label,
                     TrackSinkEncoding encoding, OnBytes onBytes)
    : outputPath_(std::move(outputPath)),
      label_(std::move(label)),
      encoding_(encoding),
      log_(services.streams, "track-" + label_),
      events_(services.streams),
      queues_(services.queues),
      writer_(services.writers.makeWriter(outputPath_)),
      onBytes_(std::move(onBytes)),
      appendQueue_(services.queues.makeSerialQueue("Tapwell.TrackSink.Append")) {}

TrackSink::~TrackSink() = default;

AudioOutputSettings TrackSink::aacOutputSettings(
    const AudioFormatDescription& matchingSourceFormat) {
    AudioOutputSettings settings;
    settings.formatID = kAudioFormatMPEG4AAC;
    settings.sampleRate = 48000;
    settings.numberOfChannels = 1;
    settings.encoderBitRate = kMaxBitRate;
    if (const auto& stream = matchingSourceFormat.streamDescription()) {
        const double bitRate = stream->sampleRate * kBitsPerSample;
        precondition(std::isfinite(bitRate) && std::abs(bitRate) < 9223372036854775808.0,
                     "bit rate out of range");
        settings.sampleRate = stream->sampleRate;
        settings.numberOfChannels = stream->channelsPerFrame;
        settings.encoderBitRate =
            std::max(std::min(static_cast<std::int64_t>(bitRate), kMaxBitRate), kMinBitRate);
    }
    return settings;
}

void TrackSink::append(const SampleBuffer& buffer) {
    const std::lock_guard hold(setupLock_);
    if (!writerSetup_) {
        setUpWriter(buffer);
        return;
    }
    enqueue(buffer);
}

/// Under setupLock_.
void TrackSink::enqueue(const SampleBuffer& buffer) {
    sampleQueue_.push(buffer);
    hadAnySample_.store(true);
    scheduleDrain();
}

/// Under setupLock_. On failure the sink stays as it was.
void TrackSink::setUpWriter(const SampleBuffer& firstSample) {
    const auto& format = firstSample.formatDescription();
    if (!format) {
        reportStartFailure("[" + label_ + "] No format description on first audio sample");
        return;
    }
    auto input = writer_->makeInput(aacOutputSettings(*format), format);
    input->setExpectsMediaDataInRealTime(encoding_ == TrackSinkEncoding::matchSourceFormat);
    if (!writer_->canAdd(*input)) {
        reportStartFailure("[" + label_ + "] Cannot add audio input to asset writer");
        return;
    }
    writer_->add(input);
    if (!writer_->startWriting()) {
        if (const auto error = writer_->error()) reportStartFailure(error->description());
        return;
    }
    const MediaTime start = firstSample.presentationTimeStamp();
    writer_->startSession(start.isNumeric() ? start : MediaTime::zero());
    input_ = std::move(input);
    writerSetup_ = true;
    enqueue(firstSample);
}

void TrackSink::reportStartFailure(const std::string& message) const {
    events_.emitEvent(ErrorEvent{kRecorderStartFailed, message});
}

void TrackSink::scheduleDrain() {
    appendQueue_->async([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->drainSampleQueueSchedulingMoreIfNeeded();
    });
}

void TrackSink::drainSampleQueueSchedulingMoreIfNeeded() {
    if (!input_) return;
    while (writerTakesMore()) {
        const auto buffer = sampleQueue_.pop();
        if (!buffer) break;
        if (buffer->isValid()) appendOneBuffer(*buffer);
        signalRoomIfThereIs();
    }
    attemptFinalizeIfNeeded();
    if (sampleQueue_.count() == 0) {
        if (const auto hook = std::exchange(onSampleQueueDrained_, nullptr)) hook();
    } else if (writerTakesMore()) {
        scheduleDrain();
    } else {
        scheduleBackoffDrainIfNeeded();
    }
}

/// A writer that has failed refuses everything at once; waiting for it to be ready would never end.
bool TrackSink::writerTakesMore() const {
    const AssetWriter::Status status = writer_->status();
    return status == AssetWriter::Status::failed || status == AssetWriter::Status::cancelled ||
           input_->isReadyForMoreMediaData();
}

void TrackSink::scheduleBackoffDrainIfNeeded() {
    if (backoffDrainScheduled_ || sampleQueue_.count() == 0) return;
    backoffDrainScheduled_ = true;
    appendQueue_->asyncAfter(TrackSinkDrain::backoff, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->backoffDrainScheduled_ = false;
        self->drainSampleQueueSchedulingMoreIfNeeded();
    });
}

void TrackSink::appendOneBuffer(const SampleBuffer& buffer) {
    if (input_->append(buffer)) {
        addTrapping(appendedBufferCount_, 1);
        addTrapping(bytesWritten_, buffer.totalSampleSize());
        onBytes_(buffer.totalSampleSize());
        return;
    }
    addTrapping(appendFailureCount_, 1);
    log_.line(
        "append(buffer) returned false (failures=" + std::to_string(appendFailureCount_.load()) +
        ") writer.status=" + std::to_string(static_cast<int>(writer_->status())) +
        " error=" + writerErrorText());
}

void TrackSink::awaitRoom(std::int64_t count) {
    if (sampleQueue_.count() < count) return;
    auto room = queues_.makeSemaphore();
    appendQueue_->async([weak = weak_from_this(), count, room] {
        const auto self = weak.lock();
        if (!self) return;
        self->roomCount_ = count;
        self->room_ = room;
        self->drainSampleQueueSchedulingMoreIfNeeded();
        self->signalRoomIfThereIs();
    });
    room->wait();
}

void TrackSink::signalRoomIfThereIs() {
    if (room_ && sampleQueue_.count() < roomCount_) std::exchange(room_, nullptr)->signal();
}

std::optional<FinishTask> TrackSink::finishWriter() {
    bool wroteAnything = false;
    {
        const std::lock_guard hold(setupLock_);
        wroteAnything = hadAnySample_.load() && input_ != nullptr;
    }
    if (!wroteAnything) {
        std::error_code ignored;
        std::filesystem::remove(outputPath_, ignored);
        return std::nullopt;
    }
    auto finished = queues_.makeSemaphore();
    // The task keeps the sink alive until the file is finished.
    appendQueue_->async([self = shared_from_this(), finished] {
        self->onSampleQueueDrained_ = [sink = self.get(), finished] {
            sink->finishRequested_ = true;
            sink->finishContinuation_ = finished;
            sink->attemptFinalizeIfNeeded();
        };
        self->drainSampleQueueSchedulingMoreIfNeeded();
    });
    return FinishTask(finished);
}

void TrackSink::attemptFinalizeIfNeeded() {
    if (!finishRequested_ || finalizeStarted_ || !input_ || sampleQueue_.count() > 0) return;
    finalizeStarted_ = true;
    input_->markAsFinished();
    // Not an owner: the writer belongs to the sink, and its thread must not destroy it.
    writer_->finishWriting(
        [this, continuation = finishContinuation_] { writerFinished(continuation); });
}

/// On whatever thread the writer completes on.
void TrackSink::writerFinished(const std::shared_ptr<Semaphore>& finishContinuation) {
    if (writer_->status() != AssetWriter::Status::completed)
        log_.line("finishWriting ended with status=" +
                  std::to_string(static_cast<int>(writer_->status())) +
                  " error=" + writerErrorText());
    if (finishContinuation) finishContinuation->signal();
}

std::string TrackSink::writerErrorText() const {
    const auto error = writer_->error();
    return error ? error->description() : "nil";
}

}  // namespace tapwell
