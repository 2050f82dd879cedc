#pragma once

#include "Platform/Linux/LinuxSpeechTranscriber.h"
#include "Platform/SpeechAnalyzer.h"

#include <memory>
#include <mutex>

namespace tapwell {

/// Runs a transcriber's session.
class LinuxSpeechAnalyzer final : public SpeechAnalyzer {
public:
    explicit LinuxSpeechAnalyzer(std::shared_ptr<LinuxSpeechTranscriber> transcriber);
    ~LinuxSpeechAnalyzer() override;

    void bestAvailableAudioFormat(
        std::function<void(std::optional<AudioFormat>)> completion) override;
    std::shared_ptr<SpeechAnalyzerInput> input() override { return input_; }
    void start(SpeechCompletion completion) override;
    void finalizeAndFinishThroughEndOfInput(SpeechCompletion completion) override;

private:
    /// What is to be called at the session's end, and whether that has come.
    struct End {
        std::mutex lock;
        bool isReached = false;       ///< guarded by lock
        SpeechCompletion completion;  ///< guarded by lock
        void reach();
        void await(SpeechCompletion whenReached);
    };

    const std::shared_ptr<LinuxSpeechTranscriber> transcriber_;
    const std::shared_ptr<SpeechAnalyzerInput> input_;
    const std::shared_ptr<End> end_ = std::make_shared<End>();
};

}  // namespace tapwell
