#include "Platform/Linux/LinuxSpeechAnalyzer.h"

#include "Platform/MonoPcm.h"

#include <utility>

namespace tapwell {
namespace {

struct SessionInput final : SpeechAnalyzerInput {
    explicit SessionInput(std::shared_ptr<SpeechSession> target) : session(std::move(target)) {}
    void yield(const PcmBuffer& buffer) override { session->append(monoFloatSamples(buffer)); }
    void finish() override { session->endAudio(); }
    const std::shared_ptr<SpeechSession> session;
};

}  // namespace

void LinuxSpeechAnalyzer::End::reach() {
    SpeechCompletion waiting;
    {
        const std::lock_guard hold(lock);
        isReached = true;
        waiting = std::exchange(completion, nullptr);
    }
    if (waiting) waiting(nullptr);
}

void LinuxSpeechAnalyzer::End::await(SpeechCompletion whenReached) {
    {
        const std::lock_guard hold(lock);
        if (!isReached) {
            completion = std::move(whenReached);
            return;
        }
    }
    whenReached(nullptr);
}

LinuxSpeechAnalyzer::LinuxSpeechAnalyzer(std::shared_ptr<LinuxSpeechTranscriber> transcriber)
    : transcriber_(std::move(transcriber)),
      input_(std::make_shared<SessionInput>(transcriber_->session())) {}

LinuxSpeechAnalyzer::~LinuxSpeechAnalyzer() {
    transcriber_->session()->cancel();
}

void LinuxSpeechAnalyzer::bestAvailableAudioFormat(
    std::function<void(std::optional<AudioFormat>)> completion) {
    completion(AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, false));
}

void LinuxSpeechAnalyzer::start(SpeechCompletion completion) {
    transcriber_->start(std::move(completion), [end = end_] { end->reach(); });
}

void LinuxSpeechAnalyzer::finalizeAndFinishThroughEndOfInput(SpeechCompletion completion) {
    transcriber_->session()->endAudio();
    end_->await(std::move(completion));
}

}  // namespace tapwell
