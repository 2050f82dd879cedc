#include "Platform/macOS/SystemSpeechRecognizer.h"

#include "Platform/macOS/SystemError.h"
#include "Platform/macOS/SystemSpeechRequest.h"

#include <Speech/Speech.h>

#include <utility>

namespace tapwell {
namespace {

using ResultHandler = SpeechRecognizer::ResultHandler;

/// What a task's callbacks share with its owner, who may be gone.
struct Results {
    Results(std::shared_ptr<SpeechGate> enginesGate, ResultHandler resultHandler)
        : gates(std::move(enginesGate)), handler(std::move(resultHandler)) {}

    const SpeechGates gates;
    const ResultHandler handler;

    void call(const SpeechResult* result, const RecorderError* error) {
        gates.pass([&] { handler(result, error); });
    }

    void take(SFSpeechRecognitionResult* result, NSError* error) {
        if (result != nil) {
            const char* const text = result.bestTranscription.formattedString.UTF8String;
            const SpeechResult plain{text == nullptr ? "" : text, bool(result.isFinal)};
            call(&plain, nullptr);
        }
        if (error != nil) {
            const RecorderError reason = recorderError(error);
            call(nullptr, &reason);
            gates.release();
        }
    }
};

struct Task final : SpeechRecognitionTask {
    Task(SFSpeechRecognitionTask* systemTask, std::shared_ptr<Results> taskResults)
        : task(systemTask), results(std::move(taskResults)) {}
    ~Task() override {
        @autoreleasepool {
            results->gates.release();
            [task cancel];
        }
    }
    void finish() override {
        @autoreleasepool {
            [task finish];
        }
    }

    SFSpeechRecognitionTask* const task;
    const std::shared_ptr<Results> results;
};

}  // namespace

struct SystemSpeechRecognizer::Core {
    SFSpeechRecognizer* recognizer;
    std::shared_ptr<SpeechGate> enginesGate;
};

std::shared_ptr<SystemSpeechRecognizer> SystemSpeechRecognizer::make(
    const std::string& localeIdentifier, std::shared_ptr<SpeechGate> enginesGate) {
    @autoreleasepool {
        NSString* identifier = [NSString stringWithUTF8String:localeIdentifier.c_str()];
        if (identifier == nil) return nullptr;
        NSLocale* locale = [[NSLocale alloc] initWithLocaleIdentifier:identifier];
        SFSpeechRecognizer* recognizer = [[SFSpeechRecognizer alloc] initWithLocale:locale];
        if (recognizer == nil) return nullptr;
        NSOperationQueue* queue = [[NSOperationQueue alloc] init];
        queue.maxConcurrentOperationCount = 1;
        queue.name = @"Tapwell.SystemSpeechRecognizer.Results";
        recognizer.queue = queue;
        return std::shared_ptr<SystemSpeechRecognizer>(new SystemSpeechRecognizer(
            std::make_unique<Core>(Core{recognizer, std::move(enginesGate)})));
    }
}

SystemSpeechRecognizer::SystemSpeechRecognizer(std::unique_ptr<Core> core)
    : core_(std::move(core)) {}

SystemSpeechRecognizer::~SystemSpeechRecognizer() = default;

bool SystemSpeechRecognizer::isAvailable() const {
    return core_->recognizer.isAvailable;
}

bool SystemSpeechRecognizer::supportsOnDeviceRecognition() const {
    return core_->recognizer.supportsOnDeviceRecognition;
}

std::shared_ptr<SpeechRecognitionRequest> SystemSpeechRecognizer::makeRequest() {
    return std::make_shared<SystemSpeechRequest>();
}

std::shared_ptr<SpeechRecognitionTask> SystemSpeechRecognizer::startTask(
    std::shared_ptr<SpeechRecognitionRequest> request, ResultHandler handler) {
    @autoreleasepool {
        const auto results = std::make_shared<Results>(core_->enginesGate, std::move(handler));
        const auto ours = std::dynamic_pointer_cast<SystemSpeechRequest>(std::move(request));
        SFSpeechRecognitionTask* task = [core_->recognizer
            recognitionTaskWithRequest:ours->native()
                         resultHandler:^(SFSpeechRecognitionResult* result, NSError* error) {
                             results->take(result, error);
                         }];
        return std::make_shared<Task>(task, results);
    }
}

}  // namespace tapwell
