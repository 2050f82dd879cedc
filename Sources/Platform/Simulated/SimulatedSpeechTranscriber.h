#pragma once

#include "Platform/Simulated/VirtualTime.h"
#include "Platform/SpeechTranscriber.h"

#include <chrono>
#include <memory>
#include <string>

namespace tapwell {

/// A transcriber whose results a test says.
class SimulatedSpeechTranscriber final : public SpeechTranscriber {
public:
    /// What a test says and sees; shared by all transcribers of the engines.
    struct Script {
        SpeechModelStatus modelStatus = SpeechModelStatus::installed;
        std::chrono::nanoseconds installationTime{0};
        bool installationFails = false;
        int statusQueries = 0;
        int installations = 0;
        std::function<void(const SpeechResult&)> onResult;
        std::function<void(const RecorderError&)> onFailure;

        void deliver(const std::string& text, bool isFinal) const {
            if (onResult) onResult({text, isFinal});
        }
    };

    SimulatedSpeechTranscriber(VirtualTime& time, std::shared_ptr<Script> script)
        : time_(time), script_(std::move(script)) {}

    void modelStatus(std::function<void(SpeechModelStatus)> completion) override {
        ++script_->statusQueries;
        completion(script_->modelStatus);
    }
    void installModel(SpeechCompletion completion) override {
        ++script_->installations;
        time_.schedule(script_->installationTime, [script = script_, completion] {
            const RecorderError error("Speech", 7, "no connection");
            if (!script->installationFails) script->modelStatus = SpeechModelStatus::installed;
            completion(script->installationFails ? &error : nullptr);
        });
    }
    void setResultHandlers(std::function<void(const SpeechResult&)> onResult,
                           std::function<void(const RecorderError&)> onFailure) override {
        script_->onResult = std::move(onResult);
        script_->onFailure = std::move(onFailure);
    }

private:
    VirtualTime& time_;
    const std::shared_ptr<Script> script_;
};

}  // namespace tapwell
