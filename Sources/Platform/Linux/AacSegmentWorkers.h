#pragma once

#include "Platform/AudioOutputSettings.h"
#include "Platform/Linux/AacEncoder.h"
#include "Platform/Linux/AacPackets.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace tapwell {

/// Encodes segments of a stream at once, each with an encoder of its own, on threads that it owns
/// and on the caller's; packets come out in the segments' order, on the caller's thread. At most
/// two segments a thread are held. Failures throw from the call that notices: what an encoder
/// threw, after the packets before it are handed out, or what a sink threw. Only destruction may
/// follow. One caller at a time.
class AacSegmentWorkers {
public:
    using PacketSink = AacEncoder::PacketSink;

    /// Starts `threadCount` threads, or as many as there are to be had.
    AacSegmentWorkers(const AudioOutputSettings& settings, unsigned threadCount);
    /// Drops what has not been encoded.
    ~AacSegmentWorkers();
    AacSegmentWorkers(const AacSegmentWorkers&) = delete;
    AacSegmentWorkers& operator=(const AacSegmentWorkers&) = delete;

    bool hasThreads() const { return !threads_.empty(); }

    /// Takes the next segment, which begins with its encoder's lead-in; the last one ends the
    /// stream. While every thread has another segment waiting, encodes one itself.
    void submit(std::vector<float> samples, bool isLast, const PacketSink& sink);
    /// Encodes whatever is left and hands it out.
    void drain(const PacketSink& sink);

    /// An empty vector, with the memory of one that was submitted if there is one.
    std::vector<float> takeBuffer();
    /// Samples submitted and not yet encoded.
    std::size_t samplesHeld() const;

private:
    enum class State { waiting, encoding, done };
    struct Job {
        std::vector<float> samples;  ///< of whoever encodes the job
        std::size_t sampleCount = 0;
        bool isLast = false;
        State state = State::waiting;
        AacPackets packets;
        std::exception_ptr failure;
    };

    void run();
    Job* claimLocked();
    std::size_t waitingLocked() const;
    bool encodeOne(std::size_t allowedWaiting);
    void encode(Job& job);
    void handOutDone(const PacketSink& sink);
    bool waitForFirst();
    bool mustWait() const;

    const AudioOutputSettings settings_;
    mutable std::mutex mutex_;
    std::condition_variable submitted_;
    std::condition_variable done_;
    std::deque<std::unique_ptr<Job>> jobs_;         ///< guarded by mutex_, in order
    std::vector<std::vector<float>> spareBuffers_;  ///< guarded by mutex_
    bool hasFailed_ = false;                        ///< guarded by mutex_
    bool isStopping_ = false;                       ///< guarded by mutex_
    std::vector<std::thread> threads_;
};

}  // namespace tapwell
