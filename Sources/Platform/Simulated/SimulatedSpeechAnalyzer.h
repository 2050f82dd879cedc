#pragma once

#include "Platform/Simulated/VirtualTime.h"
#include "Platform/SpeechAnalyzer.h"

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

namespace tapwell {

/// An analyzer that keeps its audio.
class SimulatedSpeechAnalyzer final : public SpeechAnalyzer {
public:
    /// What a test says and sees; shared by all analyzers of the engines.
    struct Script {
        std::optional<AudioFormat> format =
            AudioFormat::make(CommonFormat::pcmFloat32, 16000, 1, false);
        std::chrono::nanoseconds startTime{0};
        bool startFails = false;
        bool finalizeFails = false;
        int starts = 0;
        int finalizations = 0;
        bool inputFinished = false;
        std::vector<float> samples;  ///< all that was yielded
        double sampleRate = 0;       ///< of what was yielded last
    };

    SimulatedSpeechAnalyzer(VirtualTime& time, std::shared_ptr<Script> script)
        : time_(time), script_(std::move(script)) {}

    void bestAvailableAudioFormat(
        std::function<void(std::optional<AudioFormat>)> completion) override {
        completion(script_->format);
    }
    std::shared_ptr<SpeechAnalyzerInput> input() override { return input_; }
    void start(SpeechCompletion completion) override {
        ++script_->starts;
        time_.schedule(script_->startTime, [script = script_, completion] {
            const RecorderError error("Speech", 8, "the engine does not start");
            completion(script->startFails ? &error : nullptr);
        });
    }
    void finalizeAndFinishThroughEndOfInput(SpeechCompletion completion) override {
        ++script_->finalizations;
        time_.schedule(std::chrono::milliseconds(1), [script = script_, completion] {
            const RecorderError error("Speech", 9, "cut short");
            completion(script->finalizeFails ? &error : nullptr);
        });
    }

private:
    struct Input final : SpeechAnalyzerInput {
        explicit Input(std::shared_ptr<Script> inputScript) : script(std::move(inputScript)) {}
        void yield(const PcmBuffer& buffer) override {
            if (script->inputFinished) return;
            std::uint32_t stride = 1;
            const float* const first = buffer.channel<float>(0, stride);
            script->samples.insert(script->samples.end(), first, first + buffer.frameLength());
            script->sampleRate = buffer.format().sampleRate();
        }
        void finish() override { script->inputFinished = true; }
        const std::shared_ptr<Script> script;
    };

    VirtualTime& time_;
    const std::shared_ptr<Script> script_;
    const std::shared_ptr<Input> input_ = std::make_shared<Input>(script_);
};

}  // namespace tapwell
