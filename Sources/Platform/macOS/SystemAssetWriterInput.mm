#include "Platform/macOS/SystemAssetWriterInput.h"

#include "Platform/macOS/SystemSampleBuffer.h"

#include <AVFoundation/AVFoundation.h>

#include <atomic>

namespace tapwell {
namespace {

AVAssetWriterInput* makeInput(const AudioOutputSettings& settings,
                              const AudioFormatDescription* sourceFormat) {
    CFReference<CMAudioFormatDescriptionRef> hint;
    if (sourceFormat != nullptr) hint = makeSystemFormat(*sourceFormat);
    NSDictionary<NSString*, id>* encoding = @{
        AVFormatIDKey : [NSNumber numberWithUnsignedInt:settings.formatID],
        AVSampleRateKey : [NSNumber numberWithDouble:settings.sampleRate],
        AVNumberOfChannelsKey : [NSNumber numberWithLongLong:settings.numberOfChannels],
        AVEncoderBitRateKey : [NSNumber numberWithLongLong:settings.encoderBitRate],
    };
    @try {
        return [[AVAssetWriterInput alloc] initWithMediaType:AVMediaTypeAudio
                                              outputSettings:encoding
                                            sourceFormatHint:hint.get()];
    } @catch (NSException*) {
        return nil;
    }
}

}  // namespace

struct SystemAssetWriterInput::Core {
    AVAssetWriterInput* input;
    AVAssetWriter* writer = nil;
    std::atomic<bool> isFinished{false};
    SystemSampleBufferFormat format;
};

SystemAssetWriterInput::SystemAssetWriterInput(const AudioOutputSettings& settings,
                                               const AudioFormatDescription* sourceFormat)
    : core_(std::make_unique<Core>()) {
    @autoreleasepool {
        core_->input = makeInput(settings, sourceFormat);
    }
}

SystemAssetWriterInput::~SystemAssetWriterInput() = default;

AVAssetWriterInput* SystemAssetWriterInput::native() const {
    return core_->input;
}

void SystemAssetWriterInput::attach(AVAssetWriter* writer) {
    core_->writer = writer;
}

void SystemAssetWriterInput::setExpectsMediaDataInRealTime(bool expects) {
    @autoreleasepool {
        core_->input.expectsMediaDataInRealTime = expects;
    }
}

bool SystemAssetWriterInput::expectsMediaDataInRealTime() const {
    @autoreleasepool {
        return core_->input.expectsMediaDataInRealTime;
    }
}

bool SystemAssetWriterInput::isReadyForMoreMediaData() const {
    if (core_->isFinished) return false;
    @autoreleasepool {
        const AVAssetWriterStatus status = core_->writer.status;
        if (status == AVAssetWriterStatusFailed) return true;
        return status == AVAssetWriterStatusWriting && core_->input.readyForMoreMediaData;
    }
}

bool SystemAssetWriterInput::append(const SampleBuffer& buffer) {
    @autoreleasepool {
        if (core_->isFinished || core_->writer.status != AVAssetWriterStatusWriting) return false;
        const CFReference<CMSampleBufferRef> native = core_->format.makeSampleBuffer(buffer);
        if (!native) return false;
        @try {
            return [core_->input appendSampleBuffer:native.get()];
        } @catch (NSException*) {
            return false;
        }
    }
}

void SystemAssetWriterInput::markAsFinished() {
    if (core_->isFinished.exchange(true)) return;
    @autoreleasepool {
        if (core_->writer.status != AVAssetWriterStatusWriting) return;
        @try {
            [core_->input markAsFinished];
        } @catch (NSException*) {  // the writer has failed just now
        }
    }
}

}  // namespace tapwell
