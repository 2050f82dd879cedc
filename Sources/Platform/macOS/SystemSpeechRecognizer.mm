#include "Platform/macOS/SystemSpeechRecognizer.h"

#include "Platform/macOS/SystemError.h"
#include "Platform/macOS/SystemSpeechRequest.h"

#include <Speech/Speech.h>

#include <mutex>
#include <utility>

namespace tapwell {
namespace {

using ResultHandler = SpeechRecognizer::ResultHandler;

/// One recognition, shared by its owner, who may be gone, and the system's callbacks.
struct Recognition {
    Recognition(std::shared_ptr<SpeechGate> enginesGate, ResultHandler resultHandler)
        : gates(std::move(enginesGate)), handler(std::move(resultHandler)) {}

    void start(SFSpeechRecognizer* recognizer, SFSpeechRecognitionRequest* request,
               const std::shared_ptr<Recognition>& self) {
        const std::lock_guard hold(lock);
        if (isCancelled) return;
        const std::shared_ptr<Recognition> kept = self;
        task = [recognizer
            recognitionTaskWithRequest:request
                         resultHandler:^(SFSpeechRecognitionResult* result, NSError* error) {
                             kept->take(result, error);
                         }];
        if (isFinished) [task finish];
    }

    void finish() {
        const std::lock_guard hold(lock);
        isFinished = true;
        [task finish];
    }

    void cancel() {
        gates.release();
        const std::lock_guard hold(lock);
        isCancelled = true;
        [task cancel];
        task = nil;  // which keeps this alive by its result handler
    }

    void take(SFSpeechRecognitionResult* result, NSError* error) {
        if (result != nil) {
            const char* const text = result.bestTranscription.formattedString.UTF8String;
            const SpeechResult plain{text == nullptr ? "" : text, bool(result.isFinal)};
            gates.pass([&] { handler(&plain, nullptr); });
        }
        if (error != nil) {
            const RecorderError reason = recorderError(error);
            gates.pass([&] { handler(nullptr, &reason); });
            gates.release();
        }
    }

    const SpeechGates gates;
    const ResultHandler handler;
    std::mutex lock;
    SFSpeechRecognitionTask* task = nil;  ///< guarded by lock; nil until the user has answered
    bool isFinished = false;              ///< guarded by lock
    bool isCancelled = false;             ///< guarded by lock
};

struct Task final : SpeechRecognitionTask {
    explicit Task(std::shared_ptr<Recognition> taskRecognition)
        : recognition(std::move(taskRecognition)) {}
    ~Task() override {
        @autoreleasepool {
            recognition->cancel();
        }
    }
    void finish() override {
        @autoreleasepool {
            recognition->finish();
        }
    }

    const std::shared_ptr<Recognition> recognition;
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
    @autoreleasepool {
        return core_->recognizer.isAvailable;
    }
}

bool SystemSpeechRecognizer::supportsOnDeviceRecognition() const {
    @autoreleasepool {
        return core_->recognizer.supportsOnDeviceRecognition;
    }
}

std::shared_ptr<SpeechRecognitionRequest> SystemSpeechRecognizer::makeRequest() {
    return std::make_shared<SystemSpeechRequest>();
}

std::shared_ptr<SpeechRecognitionTask> SystemSpeechRecognizer::startTask(
    std::shared_ptr<SpeechRecognitionRequest> request, ResultHandler handler) {
    @autoreleasepool {
        const auto recognition =
            std::make_shared<Recognition>(core_->enginesGate, std::move(handler));
        const auto ours = std::dynamic_pointer_cast<SystemSpeechRequest>(std::move(request));
        SFSpeechRecognizer* recognizer = core_->recognizer;
        SFSpeechRecognitionRequest* native = ours->native();
        // Asks at the first time only. Without the user's leave, the task fails with its own error.
        [SFSpeechRecognizer requestAuthorization:^(SFSpeechRecognizerAuthorizationStatus) {
            recognition->start(recognizer, native, recognition);
        }];
        return std::make_shared<Task>(recognition);
    }
}

}  // namespace tapwell
