#include "Platform/macOS/SystemSpeechRequest.h"

#include "Platform/macOS/SystemPcmBuffer.h"

#include <Speech/Speech.h>

#include <mutex>

namespace tapwell {

struct SystemSpeechRequest::Core {
    SFSpeechAudioBufferRecognitionRequest* request;
    std::mutex lock;
    bool hasEnded = false;  ///< guarded by lock
};

SystemSpeechRequest::SystemSpeechRequest() : core_(std::make_unique<Core>()) {
    @autoreleasepool {
        core_->request = [[SFSpeechAudioBufferRecognitionRequest alloc] init];
    }
}

SystemSpeechRequest::~SystemSpeechRequest() = default;

void SystemSpeechRequest::append(const PcmBuffer& buffer) {
    @autoreleasepool {
        AVAudioPCMBuffer* copy = makeSystemBuffer(buffer);
        if (copy == nil) return;
        const std::lock_guard hold(core_->lock);
        if (!core_->hasEnded) [core_->request appendAudioPCMBuffer:copy];
    }
}

void SystemSpeechRequest::endAudio() {
    @autoreleasepool {
        const std::lock_guard hold(core_->lock);
        if (!core_->hasEnded) [core_->request endAudio];
        core_->hasEnded = true;
    }
}

SFSpeechAudioBufferRecognitionRequest* SystemSpeechRequest::native() const {
    core_->request.shouldReportPartialResults = shouldReportPartialResults;
    core_->request.addsPunctuation = addsPunctuation;
    if (requiresOnDeviceRecognition) core_->request.requiresOnDeviceRecognition = YES;
    return core_->request;
}

}  // namespace tapwell
