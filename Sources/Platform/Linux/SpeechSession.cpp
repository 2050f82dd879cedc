#include "Platform/Linux/SpeechSession.h"

#include "Platform/Linux/SpeechSegment.h"
#include "Platform/Linux/SpeechTranscript.h"
#include "Platform/Linux/ThreadIdentity.h"
#include "Platform/RecorderError.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace tapwell {
namespace {

constexpr std::size_t kSampleRate = 16000;
constexpr std::size_t kBlockSamples = 320;
/// Of the audio: how often the live half is asked for its text.
constexpr std::size_t kDraftBlocks = 5;
/// Of a segment: how much more audio is worth another draft by the second half.
constexpr std::size_t kDraftBySecondHalfSamples = kSampleRate;

// Both give way to the recording. The live half takes little and must keep up: on a machine that is
// busy to the last, a niceness of 5 leaves it too little to follow the speech.
constexpr int kLiveNiceness = 1;
constexpr int kSecondPassNiceness = 5;

using Samples = std::vector<std::int16_t>;

std::int16_t toInt16(float sample) {
    if (!(sample > -1.0F)) return sample == sample ? std::int16_t{-32767} : std::int16_t{0};
    return static_cast<std::int16_t>(std::min(sample, 1.0F) * 32767.0F);
}

constexpr auto kWaitingSamples =
    static_cast<std::size_t>(SpeechSession::maximumWaitingSeconds * kSampleRate);

}  // namespace

struct SpeechSession::Core : std::enable_shared_from_this<Core> {
    /// A segment for the second pass, or the running one for a draft.
    struct Job {
        Samples samples;
        std::uint64_t segment = 0;
        bool isDraft = false;
    };

    void runLive(const Load& load);
    void runSecondPass(const std::function<std::shared_ptr<SegmentRecognizer>()>& make);
    void follow(LiveRecognizer& live, bool hasSecondPass);
    bool takeAudio(Samples& out);
    void endSegment(LiveRecognizer& live, SpeechSegment& segment, bool hasSecondPass);
    void askForDraft(const SpeechSegment& segment);
    void enqueue(Job job);
    std::optional<Job> takeJob();
    void perform(SegmentRecognizer& recognizer, const Job& job);
    void endJobs();
    bool isDropping() const { return cancelled || resultsDropped; }

    void publish(const std::function<SpeechTranscript::Results(SpeechTranscript&)>& change);
    void started(const RecorderError* error);
    void finished();
    void report(const std::string& message);
    void reportOnce(bool& reported, const std::string& what);

    std::atomic<bool> cancelled{false};
    std::atomic<bool> resultsDropped{false};
    std::atomic<bool> interrupt{false};  ///< set with either of them

    std::mutex lock;
    std::condition_variable changed;
    // Guarded by lock.
    std::deque<std::int16_t> audio;
    bool audioEnded = false;
    bool audioLost = false;
    std::deque<Job> jobs;
    std::size_t jobSamples = 0;  ///< of segments, not of drafts
    bool working = false;        ///< the second half is
    bool jobsEnded = false;

    /// Held during callbacks, which may call the session again.
    std::recursive_mutex delivery;
    // Guarded by delivery.
    /// A callback that is running keeps its own reference: it may cancel the session.
    std::shared_ptr<const Callbacks> callbacks = std::make_shared<const Callbacks>();
    SpeechTranscript transcript;
    bool reportedDrafts = false;
    bool reportedLoss = false;

    std::uint64_t draftedSegment = 0;  ///< of the live thread, as is the next
    std::size_t draftedSamples = 0;
};

// --- the live thread

void SpeechSession::Core::runLive(const Load& load) {
    nameCurrentThread("Tapwell.Speech.Live");
    lowerCurrentThread(kLiveNiceness);
    Engines engines;
    try {
        engines = load([this](const std::string& message) { report(message); });
        if (engines.makeSegment && !isDropping())
            std::thread([core = shared_from_this(), make = engines.makeSegment] {
                core->runSecondPass(make);
            }).detach();
    } catch (const RecorderError& error) {
        started(&error);
        return;
    } catch (const std::exception& error) {
        const RecorderError wrapped("Speech", 0, error.what());
        started(&wrapped);
        return;
    }
    started(nullptr);
    follow(*engines.live, static_cast<bool>(engines.makeSegment));
}

void SpeechSession::Core::follow(LiveRecognizer& live, bool hasSecondPass) {
    SpeechSegment segment;
    Samples block;
    for (std::size_t blocks = 1; takeAudio(block); ++blocks) {
        const bool ends = segment.append(block, live.process(block));
        if (ends) {
            endSegment(live, segment, hasSecondPass);
        } else if (segment.hasBegun() && live.givesText()) {
            if (blocks % kDraftBlocks != 0) continue;
            const std::string draft = live.segmentText();
            publish([&](SpeechTranscript& state) { return state.draftChanged(draft); });
        } else if (segment.hasBegun()) {
            askForDraft(segment);
        }
    }
    if (segment.hasBegun() && !isDropping()) endSegment(live, segment, hasSecondPass);
    if (hasSecondPass)
        endJobs();
    else
        finished();
}

/// The next block; false at the end of the audio, or when nobody listens any more.
bool SpeechSession::Core::takeAudio(Samples& out) {
    std::unique_lock hold(lock);
    changed.wait(hold,
                 [this] { return isDropping() || audioEnded || audio.size() >= kBlockSamples; });
    if (isDropping() || audio.empty()) return false;
    if (audioLost) {
        hold.unlock();
        reportOnce(reportedLoss, "some speech is left out");
        hold.lock();
        audioLost = false;
    }
    const auto count = static_cast<std::ptrdiff_t>(std::min(audio.size(), kBlockSamples));
    out.assign(audio.begin(), audio.begin() + count);
    audio.erase(audio.begin(), audio.begin() + count);
    out.resize(kBlockSamples);
    return true;
}

void SpeechSession::Core::endSegment(LiveRecognizer& live, SpeechSegment& segment,
                                     bool hasSecondPass) {
    const std::string draft = live.endSegment();
    publish([&](SpeechTranscript& state) {
        auto results = state.segmentEnded(draft);
        if (hasSecondPass) return results;
        for (auto& result : state.segmentFinal(draft))
            results.push_back(std::move(result));
        return results;
    });
    Job job{segment.take(), 0, false};
    if (hasSecondPass) enqueue(std::move(job));
}

/// Drafts by the second half come only while it has nothing better to do.
void SpeechSession::Core::askForDraft(const SpeechSegment& segment) {
    std::uint64_t running = 0;
    {
        const std::lock_guard hold(delivery);
        running = transcript.runningSegment();
    }
    if (running != draftedSegment) draftedSamples = 0;
    draftedSegment = running;
    if (segment.samples().size() < draftedSamples + kDraftBySecondHalfSamples) return;
    const std::lock_guard hold(lock);
    if (working || !jobs.empty()) return;
    draftedSamples = segment.samples().size();
    jobs.push_back({segment.samples(), running, true});
    changed.notify_all();
}

void SpeechSession::Core::enqueue(Job job) {
    bool tooSlow = false;
    {
        const std::lock_guard hold(lock);
        if (!jobs.empty() && jobs.back().isDraft) jobs.pop_back();
        jobSamples += job.samples.size();
        jobs.push_back(std::move(job));
        // Keeps its place, so that the order stays.
        for (auto waiting = jobs.begin(); jobSamples > kWaitingSamples && waiting != jobs.end();
             ++waiting) {
            tooSlow = true;
            jobSamples -= waiting->samples.size();
            waiting->samples.clear();
        }
        changed.notify_all();
    }
    if (tooSlow) reportOnce(reportedDrafts, "some segments stay as they were first understood");
}

void SpeechSession::Core::endJobs() {
    const std::lock_guard hold(lock);
    jobsEnded = true;
    changed.notify_all();
}

// --- the thread of the second pass

void SpeechSession::Core::runSecondPass(
    const std::function<std::shared_ptr<SegmentRecognizer>()>& make) {
    nameCurrentThread("Tapwell.Speech.Pass2");
    lowerCurrentThread(kSecondPassNiceness);
    std::shared_ptr<SegmentRecognizer> recognizer;
    try {
        recognizer = make();
    } catch (const RecorderError& error) {
        report(error.description() + "; segments stay as they were first understood");
    }
    while (const auto job = takeJob()) {
        if (recognizer && !job->samples.empty())
            perform(*recognizer, *job);
        else if (!job->isDraft)
            publish([](SpeechTranscript& state) { return state.segmentFinal(""); });
        const std::lock_guard hold(lock);
        working = false;
    }
    finished();
}

std::optional<SpeechSession::Core::Job> SpeechSession::Core::takeJob() {
    std::unique_lock hold(lock);
    changed.wait(hold, [this] { return isDropping() || jobsEnded || !jobs.empty(); });
    if (isDropping() || jobs.empty()) return std::nullopt;
    std::optional<Job> job = std::move(jobs.front());
    jobs.pop_front();
    if (!job->isDraft) jobSamples -= job->samples.size();
    working = true;
    return job;
}

void SpeechSession::Core::perform(SegmentRecognizer& recognizer, const Job& job) {
    const std::string text = recognizer.recognize(job.samples, interrupt);
    publish([&](SpeechTranscript& state) {
        if (!job.isDraft) return state.segmentFinal(text);
        if (job.segment != state.runningSegment()) return SpeechTranscript::Results();
        return state.draftChanged(text);
    });
}

// --- callbacks

void SpeechSession::Core::publish(
    const std::function<SpeechTranscript::Results(SpeechTranscript&)>& change) {
    const std::lock_guard hold(delivery);
    const auto current = callbacks;
    for (const SpeechResult& result : change(transcript))
        if (!isDropping() && current->onResult) current->onResult(result);
}

void SpeechSession::Core::started(const RecorderError* error) {
    const std::lock_guard hold(delivery);
    const auto current = callbacks;
    if (!cancelled && current->onStarted) current->onStarted(error);
}

void SpeechSession::Core::finished() {
    const std::lock_guard hold(delivery);
    const auto current = callbacks;
    if (!cancelled && current->onFinished) current->onFinished();
}

void SpeechSession::Core::report(const std::string& message) {
    const std::lock_guard hold(delivery);
    const auto current = callbacks;
    if (!cancelled && current->report) current->report(message);
}

void SpeechSession::Core::reportOnce(bool& reported, const std::string& what) {
    const std::lock_guard hold(delivery);
    if (std::exchange(reported, true)) return;
    report("recognition is slower than the speech: " + what);
}

// --- the session

SpeechSession::SpeechSession() : core_(std::make_shared<Core>()) {}

SpeechSession::~SpeechSession() {
    cancel();
}

void SpeechSession::start(Load load, Callbacks callbacks) {
    {
        const std::lock_guard hold(core_->delivery);
        core_->callbacks = std::make_shared<const Callbacks>(std::move(callbacks));
    }
    std::thread([core = core_, load = std::move(load)] { core->runLive(load); }).detach();
}

void SpeechSession::append(std::span<const float> samples) {
    const std::lock_guard hold(core_->lock);
    if (core_->audioEnded || core_->isDropping()) return;
    auto& audio = core_->audio;
    for (const float sample : samples)
        audio.push_back(toInt16(sample));
    if (audio.size() > kWaitingSamples) {
        audio.erase(audio.begin(), audio.end() - static_cast<std::ptrdiff_t>(kWaitingSamples / 2));
        core_->audioLost = true;
    }
    core_->changed.notify_all();
}

void SpeechSession::endAudio() {
    const std::lock_guard hold(core_->lock);
    core_->audioEnded = true;
    core_->changed.notify_all();
}

void SpeechSession::dropResults() {
    core_->resultsDropped = true;
    core_->interrupt = true;
    const std::lock_guard hold(core_->lock);
    core_->changed.notify_all();
}

void SpeechSession::cancel() {
    core_->cancelled = true;
    core_->interrupt = true;
    {
        const std::lock_guard hold(core_->lock);
        core_->changed.notify_all();
    }
    const std::lock_guard hold(core_->delivery);
    core_->callbacks = std::make_shared<const Callbacks>();
}

}  // namespace tapwell
