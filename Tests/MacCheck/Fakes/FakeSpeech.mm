#include "Fakes/FakeSpeech.h"

#include "Fakes/FakeObjects.h"
#include "Fakes/FakeSystem.h"

#include <Speech/Speech.h>

#include <algorithm>
#include <vector>

namespace {

maccheck::FakeSystem& system() {
    return maccheck::FakeSystem::get();
}

using Handler = void (^)(SFSpeechRecognitionResult* result, NSError* error);

/// The system's own reference to every task, until an error ends it.
std::vector<SFSpeechRecognitionTask*>& tasks() {
    static std::vector<SFSpeechRecognitionTask*> all;
    return all;
}

constexpr int kCancelled = 301;
constexpr int kNotAllowed = 1700;

}  // namespace

@interface SFTranscription () {
@public
    NSString* text_;
}
@end

@implementation SFTranscription
- (NSString*)formattedString {
    return text_;
}
@end

@interface SFSpeechRecognitionResult () {
@public
    SFTranscription* best_;
    BOOL isFinal_;
}
@end

@implementation SFSpeechRecognitionResult
- (SFTranscription*)bestTranscription {
    return best_;
}
- (BOOL)isFinal {
    return isFinal_;
}
@end

@implementation SFSpeechRecognitionRequest
@synthesize shouldReportPartialResults = partial_;
@synthesize requiresOnDeviceRecognition = onDevice_;
@synthesize addsPunctuation = punctuation_;

- (instancetype)init {
    partial_ = YES;
    return self;
}
- (void)appendTextTo:(std::string&)text {
    text += std::string(partial_ ? "partial" : "final");
    text += onDevice_ ? ", on the device" : "";
    text += punctuation_ ? ", punctuation" : "";
}
@end

@implementation SFSpeechAudioBufferRecognitionRequest {
    std::vector<AVAudioPCMBuffer*> buffers_;
    bool hasEnded_;
}
- (void)appendAudioPCMBuffer:(AVAudioPCMBuffer*)buffer {
    system().called("-[SFSpeechAudioBufferRecognitionRequest append]", maccheck::textOf(buffer));
    if (hasEnded_) system().violated("audio after its end");
    buffers_.push_back(buffer);
}
- (void)endAudio {
    system().called("-[SFSpeechAudioBufferRecognitionRequest endAudio]");
    if (hasEnded_) system().violated("audio ended twice");
    hasEnded_ = true;
}
@end

@interface SFSpeechRecognitionTask () {
@public
    SFSpeechRecognitionRequest* request_;
    NSOperationQueue* queue_;
    Handler handler_;
}
- (void)deliver:(SFSpeechRecognitionResult*)result error:(NSError*)error;
@end

@implementation SFSpeechRecognitionTask
- (void)deliver:(SFSpeechRecognitionResult*)result error:(NSError*)error {
    if (queue_ == nil) return system().violated("results for the main queue, where nobody runs");
    if (queue_.maxConcurrentOperationCount != 1) system().violated("results side by side");
    Handler handler = handler_;
    maccheck::submit(queue_.underlyingQueue, [handler, result, error] { handler(result, error); });
    if (error != nil) std::erase(tasks(), self);
}
- (void)finish {
    system().called("-[SFSpeechRecognitionTask finish]");
}
- (void)cancel {
    system().called("-[SFSpeechRecognitionTask cancel]");
    const std::string text = "cancelled";
    if (std::find(tasks().begin(), tasks().end(), self) != tasks().end())
        [self deliver:nil
                error:[[NSError alloc] initWithDomain:"Speech" code:kCancelled description:&text]];
}
@end

@implementation SFSpeechRecognizer {
    NSLocale* locale_;
    NSOperationQueue* queue_;
}
@synthesize supportsOnDeviceRecognition = onDevice_;

+ (void)requestAuthorization:(void (^)(SFSpeechRecognizerAuthorizationStatus status))handler {
    system().called("+[SFSpeechRecognizer requestAuthorization:]");
    if (system().speechStatus == SFSpeechRecognizerAuthorizationStatusNotDetermined)
        ++system().speechPrompts;
    maccheck::submit(nullptr, [handler] {
        if (system().speechStatus == SFSpeechRecognizerAuthorizationStatusNotDetermined)
            system().speechStatus = system().speechAnswer;
        handler(static_cast<SFSpeechRecognizerAuthorizationStatus>(system().speechStatus));
    });
}
- (instancetype)initWithLocale:(NSLocale*)locale {
    if (system().called("-[SFSpeechRecognizer init]", maccheck::textOf(locale)) != noErr)
        return nil;
    locale_ = locale;
    onDevice_ = system().recognizerIsOnDevice;
    return self;
}
- (BOOL)isAvailable {
    return system().recognizerIsAvailable;
}
- (NSOperationQueue*)queue {
    return queue_;
}
- (void)setQueue:(NSOperationQueue*)queue {
    system().called("-[SFSpeechRecognizer setQueue:]", maccheck::textOf(queue));
    queue_ = queue;
}
- (SFSpeechRecognitionTask*)recognitionTaskWithRequest:(SFSpeechRecognitionRequest*)request
                                         resultHandler:(Handler)handler {
    system().called("-[SFSpeechRecognizer recognitionTask]", maccheck::textOf(request));
    if (request == nil) maccheck::raise("nil as a request");
    SFSpeechRecognitionTask* task = [[SFSpeechRecognitionTask alloc] init];
    task->request_ = request;
    task->queue_ = queue_;
    task->handler_ = handler;
    tasks().push_back(task);
    const std::string text = "the user has not allowed it";
    if (system().speechStatus != SFSpeechRecognizerAuthorizationStatusAuthorized)
        [task deliver:nil
                error:[[NSError alloc] initWithDomain:"Speech" code:kNotAllowed description:&text]];
    return task;
}
@end

namespace {

SFSpeechRecognitionResult* makeResult(const std::string& text, bool isFinal) {
    SFSpeechRecognitionResult* result = [[SFSpeechRecognitionResult alloc] init];
    result->best_ = [[SFTranscription alloc] init];
    if (!text.empty()) result->best_->text_ = maccheck::makeText(text);
    result->isFinal_ = isFinal;
    return result;
}

void deliver(SFSpeechRecognitionResult* result, NSError* error) {
    const std::vector<SFSpeechRecognitionTask*> running = tasks();
    for (SFSpeechRecognitionTask* task : running)
        [task deliver:result error:error];
}

}  // namespace

namespace maccheck {

void say(const std::string& text, bool isFinal) {
    @autoreleasepool {
        deliver(makeResult(text, isFinal), nil);
    }
}

void failTasks(int code, const std::string& description) {
    @autoreleasepool {
        deliver(nil, [[NSError alloc] initWithDomain:"Speech" code:code description:&description]);
    }
}

void sayAndFail(const std::string& text, int code, const std::string& description) {
    @autoreleasepool {
        deliver(makeResult(text, false), [[NSError alloc] initWithDomain:"Speech"
                                                                    code:code
                                                             description:&description]);
    }
}

std::size_t runningTaskCount() {
    return tasks().size();
}

}  // namespace maccheck
