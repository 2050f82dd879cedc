#pragma once

#include "Platform/Simulated/SimulatedSpeechRecognitionRequest.h"
#include "Platform/SpeechRecognizer.h"

#include <memory>
#include <string>
#include <vector>

namespace tapwell {

/// A recognizer whose results a test says. The tasks are kept after their release, as a server's
/// late answers do.
class SimulatedSpeechRecognizer final : public SpeechRecognizer {
public:
    struct Task {
        std::shared_ptr<SimulatedSpeechRecognitionRequest> request;
        ResultHandler handler;
        bool finished = false;

        void deliver(const std::string& text, bool isFinal) const {
            const SpeechResult result{text, isFinal};
            handler(&result, nullptr);
        }
        void fail(const RecorderError& error) const { handler(nullptr, &error); }
    };
    /// What a test says and sees; shared by all recognizers of the engines.
    struct Script {
        bool available = true;
        bool onDevice = true;
        std::vector<std::shared_ptr<Task>> tasks;  ///< in the order of their start
    };

    explicit SimulatedSpeechRecognizer(std::shared_ptr<Script> script)
        : script_(std::move(script)) {}

    bool isAvailable() const override { return script_->available; }
    bool supportsOnDeviceRecognition() const override { return script_->onDevice; }
    std::shared_ptr<SpeechRecognitionRequest> makeRequest() override {
        return std::make_shared<SimulatedSpeechRecognitionRequest>();
    }
    std::shared_ptr<SpeechRecognitionTask> startTask(
        std::shared_ptr<SpeechRecognitionRequest> request, ResultHandler handler) override {
        const auto task = std::make_shared<Task>(
            Task{std::dynamic_pointer_cast<SimulatedSpeechRecognitionRequest>(request),
                 std::move(handler)});
        script_->tasks.push_back(task);
        return std::make_shared<TaskHandle>(task);
    }

private:
    struct TaskHandle final : SpeechRecognitionTask {
        explicit TaskHandle(std::shared_ptr<Task> handledTask) : task(std::move(handledTask)) {}
        void finish() override { task->finished = true; }
        std::shared_ptr<Task> task;
    };

    std::shared_ptr<Script> script_;
};

}  // namespace tapwell
