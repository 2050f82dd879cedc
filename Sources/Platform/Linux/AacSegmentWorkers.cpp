#include "Platform/Linux/AacSegmentWorkers.h"

#include "Platform/Linux/ThreadIdentity.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace tapwell {

AacSegmentWorkers::AacSegmentWorkers(const AudioOutputSettings& settings, unsigned threadCount)
    : settings_(settings) {
    threads_.reserve(threadCount);
    try {
        while (threads_.size() < threadCount)
            threads_.emplace_back([this] { run(); });
    } catch (const std::system_error&) {
        // Fewer threads take longer and do the same.
    }
}

AacSegmentWorkers::~AacSegmentWorkers() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
    }
    submitted_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
}

void AacSegmentWorkers::run() {
    nameCurrentThread("Tapwell.AacSegment");
    std::unique_lock lock(mutex_);
    for (;;) {
        submitted_.wait(lock, [this] { return isStopping_ || waitingLocked() > 0; });
        if (isStopping_) return;
        Job& job = *claimLocked();
        lock.unlock();
        encode(job);
        lock.lock();
    }
}

std::size_t AacSegmentWorkers::waitingLocked() const {
    return static_cast<std::size_t>(
        std::ranges::count(jobs_, State::waiting, [](const auto& job) { return job->state; }));
}

/// The first job that nobody has begun, begun now; null when there is none.
AacSegmentWorkers::Job* AacSegmentWorkers::claimLocked() {
    const auto found =
        std::ranges::find(jobs_, State::waiting, [](const auto& job) { return job->state; });
    if (found == jobs_.end()) return nullptr;
    (*found)->state = State::encoding;
    return found->get();
}

/// On any thread, without the lock; a claimed job belongs to whoever claimed it.
void AacSegmentWorkers::encode(Job& job) {
    const auto keep = [&job](std::span<const std::byte> packet) { job.packets.append(packet); };
    try {
        AacEncoder encoder(settings_, AacEncoder::Part::later);
        encoder.encode(job.samples, keep);
        if (job.isLast) encoder.finish(keep);
    } catch (...) {
        job.failure = std::current_exception();
    }
    job.samples.clear();
    {
        const std::lock_guard lock(mutex_);
        spareBuffers_.push_back(std::move(job.samples));
        if (job.failure) hasFailed_ = true;
        job.state = State::done;
    }
    done_.notify_all();
}

/// On the caller's thread, when more than `allowedWaiting` jobs wait. False when not.
bool AacSegmentWorkers::encodeOne(std::size_t allowedWaiting) {
    Job* job = nullptr;
    {
        const std::lock_guard lock(mutex_);
        if (waitingLocked() > allowedWaiting) job = claimLocked();
    }
    if (job == nullptr) return false;
    encode(*job);
    return true;
}

void AacSegmentWorkers::submit(std::vector<float> samples, bool isLast, const PacketSink& sink) {
    auto job = std::make_unique<Job>();
    job->samples = std::move(samples);
    job->sampleCount = job->samples.size();
    job->isLast = isLast;
    {
        const std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    submitted_.notify_one();
    while (encodeOne(threads_.size())) {
    }
    handOutDone(sink);
    while (mustWait()) {
        waitForFirst();
        handOutDone(sink);
    }
}

/// When packets pile up behind a segment whose thread gets no processor time, and when there is a
/// failure to come to.
bool AacSegmentWorkers::mustWait() const {
    const std::lock_guard lock(mutex_);
    return hasFailed_ || jobs_.size() > 3 * threads_.size() + 1;
}

void AacSegmentWorkers::drain(const PacketSink& sink) {
    do {
        while (encodeOne(0))
            handOutDone(sink);
        handOutDone(sink);
    } while (waitForFirst());
}

/// False when there is no job.
bool AacSegmentWorkers::waitForFirst() {
    std::unique_lock lock(mutex_);
    if (jobs_.empty()) return false;
    done_.wait(lock, [this] { return jobs_.front()->state == State::done; });
    return true;
}

void AacSegmentWorkers::handOutDone(const PacketSink& sink) {
    for (;;) {
        std::unique_ptr<Job> job;
        {
            const std::lock_guard lock(mutex_);
            if (jobs_.empty() || jobs_.front()->state != State::done) return;
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        if (job->failure) std::rethrow_exception(job->failure);
        job->packets.forEach(sink);
    }
}

std::vector<float> AacSegmentWorkers::takeBuffer() {
    const std::lock_guard lock(mutex_);
    if (spareBuffers_.empty()) return {};
    std::vector<float> buffer = std::move(spareBuffers_.back());
    spareBuffers_.pop_back();
    return buffer;
}

std::size_t AacSegmentWorkers::samplesHeld() const {
    const std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const auto& job : jobs_)
        if (job->state != State::done) count += job->sampleCount;
    return count;
}

}  // namespace tapwell
