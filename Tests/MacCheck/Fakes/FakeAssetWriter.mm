#include "Fakes/FakeFoundation.h"
#include "Fakes/FakeObjects.h"
#include "Fakes/FakeSystem.h"

#include <AVFoundation/AVFoundation.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

AVMediaType const AVMediaTypeAudio = @"soun";
AVFileType const AVFileTypeAppleM4A = @"com.apple.m4a-audio";
NSString* const AVFormatIDKey = @"AVFormatIDKey";
NSString* const AVSampleRateKey = @"AVSampleRateKey";
NSString* const AVNumberOfChannelsKey = @"AVNumberOfChannelsKey";
NSString* const AVEncoderBitRateKey = @"AVEncoderBitRateKey";

namespace {

maccheck::FakeSystem& system() {
    return maccheck::FakeSystem::get();
}

std::string textOf(const CMTime& time) {
    return std::to_string(time.value) + '/' + std::to_string(time.timescale);
}

constexpr OSStatus kFileExists = -11823;

}  // namespace

@interface AVAssetWriter ()
- (bool)canAppend;
- (void)failWith:(OSStatus)status in:(const char*)what;
@end

@interface AVAssetWriterInput () {
@public
    // The writer lives without this reference, and so must the host see to it.
    __unsafe_unretained AVAssetWriter* writer_;
    bool isFinished_;
}
@end

@implementation AVAssetWriterInput {
    NSDictionary<NSString*, id>* settings_;
    BOOL isRealTime_;
}
- (instancetype)initWithMediaType:(AVMediaType)type
                   outputSettings:(NSDictionary<NSString*, id>*)settings
                 sourceFormatHint:(CMFormatDescriptionRef)hint {
    settings_ = settings;
    if (system().called("-[AVAssetWriterInput init]",
                        maccheck::textOf(type) + ' ' + maccheck::textOf(settings) + ' ' +
                            (hint == nullptr ? "no hint" : maccheck::textOfObject(hint))) != noErr)
        maccheck::raise("settings that nobody can encode");
    return self;
}
- (BOOL)expectsMediaDataInRealTime {
    return isRealTime_;
}
- (void)setExpectsMediaDataInRealTime:(BOOL)expects {
    system().called("-[AVAssetWriterInput setExpectsMediaDataInRealTime:]",
                    std::to_string(expects));
    if (writer_ != nil && writer_.status != AVAssetWriterStatusUnknown)
        maccheck::raise("set after the start");
    isRealTime_ = expects;
}
- (BOOL)isReadyForMoreMediaData {
    return system().failures.count("-[AVAssetWriterInput isReadyForMoreMediaData]") == 0;
}
- (BOOL)appendSampleBuffer:(CMSampleBufferRef)buffer {
    const OSStatus status = system().called("-[AVAssetWriterInput appendSampleBuffer:]",
                                            maccheck::textOfObject(buffer));
    if (isFinished_ || ![writer_ canAppend] || !self.readyForMoreMediaData)
        maccheck::raise("appended at the wrong time");
    if (status != noErr) [writer_ failWith:status in:"the encoder"];
    return status == noErr;
}
- (void)markAsFinished {
    const OSStatus status = system().called("-[AVAssetWriterInput markAsFinished]");
    if (![writer_ canAppend]) maccheck::raise("finished at the wrong time");
    isFinished_ = true;
    if (status != noErr) [writer_ failWith:status in:"the encoder"];
}
@end

@implementation AVAssetWriter {
    NSURL* url_;
    NSString* type_;
    AVAssetWriterInput* input_;
    AVAssetWriterStatus status_;
    NSError* error_;
    bool hasSession_;
}
- (instancetype)initWithURL:(NSURL*)url
                   fileType:(AVFileType)type
                      error:(NSError* __autoreleasing*)outError {
    url_ = url;
    type_ = type;
    const OSStatus status = system().called(
        "-[AVAssetWriter init]", maccheck::textOf(url) + " as " + maccheck::textOf(type));
    if (status == noErr) return self;
    if (status != maccheck::kWithoutError) *outError = maccheck::makeError(status, "the writer");
    return nil;
}
- (AVAssetWriterStatus)status {
    return status_;
}
- (NSError*)error {
    return error_;
}
- (CMTime)movieFragmentInterval {
    return {};
}
- (void)setMovieFragmentInterval:(CMTime)interval {
    if (system().called("-[AVAssetWriter setMovieFragmentInterval:]", textOf(interval)) != noErr)
        maccheck::raise("a type without fragments");
}
- (bool)canAppend {
    return status_ == AVAssetWriterStatusWriting && hasSession_;
}
- (void)failWith:(OSStatus)status in:(const char*)what {
    status_ = AVAssetWriterStatusFailed;
    if (status != maccheck::kWithoutError) error_ = maccheck::makeError(status, what);
}
- (BOOL)canAddInput:(AVAssetWriterInput*)input {
    if (input == nil) maccheck::raise("nil as an input");
    return system().called("-[AVAssetWriter canAddInput:]") == noErr;
}
- (void)addInput:(AVAssetWriterInput*)input {
    system().called("-[AVAssetWriter addInput:]");
    if (input_ != nil || status_ != AVAssetWriterStatusUnknown)
        maccheck::raise("added what cannot be");
    input_ = input;
    input->writer_ = self;
}
- (BOOL)startWriting {
    OSStatus status = system().called("-[AVAssetWriter startWriting]");
    if (status_ != AVAssetWriterStatusUnknown) maccheck::raise("started twice");
    if (status == noErr) {
        const int file = ::open(url_.path.UTF8String, O_CREAT | O_EXCL | O_WRONLY, 0600);
        if (file < 0) status = errno == EEXIST ? kFileExists : errno;
        if (file >= 0) ::close(file);
    }
    if (status == noErr)
        status_ = AVAssetWriterStatusWriting;
    else
        [self failWith:status in:"the start"];
    return status == noErr;
}
- (void)startSessionAtSourceTime:(CMTime)time {
    const OSStatus status =
        system().called("-[AVAssetWriter startSessionAtSourceTime:]", textOf(time));
    if (status != noErr) [self failWith:status in:"the disk"];
    if (status_ != AVAssetWriterStatusWriting) maccheck::raise("a session of no running writer");
    hasSession_ = true;
}
/// What keeps the writer until the handler has run is up to its owner.
- (void)finishWritingWithCompletionHandler:(void (^)(void))handler {
    const OSStatus status = system().called("-[AVAssetWriter finishWriting]");
    if (status_ != AVAssetWriterStatusWriting) maccheck::raise("finished at the wrong time");
    if (input_ != nil && !input_->isFinished_) system().violated("an input was not finished");
    __unsafe_unretained AVAssetWriter* const me = self;
    maccheck::submit(nullptr, [me, status, handler] {
        if (status == noErr)
            me->status_ = AVAssetWriterStatusCompleted;
        else
            [me failWith:status in:"the end"];
        handler();
        // The file is closed last.
        me->hasSession_ = false;
    });
}
@end
