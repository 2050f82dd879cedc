#include "Fakes/FakeAudio.h"
#include "Fakes/FakeObjects.h"
#include "Fakes/FakeSystem.h"

#include <string>
#include <vector>

namespace {

/// Frames of input that the filter holds back until the stream ends.
constexpr std::size_t kHeldBack = 2;

}  // namespace

// Gives for every output frame the input frame that it falls into. What it is handed it reads as it
// needs it, up to the moment at which it asks for more.
@implementation AVAudioConverter {
    AVAudioFormat* from_;
    AVAudioFormat* to_;
    std::vector<float> heard_;
    std::size_t produced_;
    const float* unread_;
    std::size_t unreadCount_;
    bool hasEnded_;
}
- (instancetype)initFromFormat:(AVAudioFormat*)from toFormat:(AVAudioFormat*)to {
    from_ = from;
    to_ = to;
    const OSStatus status = maccheck::FakeSystem::get().called(
        "-[AVAudioConverter init]", maccheck::textOf(from) + " to " + maccheck::textOf(to));
    return status == noErr ? self : nil;
}
- (NSInteger)sampleRateConverterQuality {
    return 0;
}
- (void)setSampleRateConverterQuality:(NSInteger)quality {
    maccheck::FakeSystem::get().called("-[AVAudioConverter setSampleRateConverterQuality:]",
                                       std::to_string(quality));
}
- (bool)takeOneInto:(float&)sample {
    const auto wanted = static_cast<std::size_t>(static_cast<double>(produced_) * from_.sampleRate /
                                                 to_.sampleRate);
    if (wanted + (hasEnded_ ? 0 : kHeldBack) >= heard_.size()) return false;
    sample = heard_[wanted];
    ++produced_;
    return true;
}
- (AVAudioConverterInputStatus)askBlock:(AVAudioConverterInputBlock)block {
    AVAudioConverterInputStatus status = AVAudioConverterInputStatus(-1);
    auto* const input = static_cast<AVAudioPCMBuffer*>(block(512, &status));
    if ((input != nil) != (status == AVAudioConverterInputStatus_HaveData))
        maccheck::FakeSystem::get().violated("input and its status do not fit");
    hasEnded_ = status == AVAudioConverterInputStatus_EndOfStream;
    if (input == nil) return status;
    unread_ = input.floatChannelData[0];
    unreadCount_ = input.frameLength;
    return status;
}
- (AVAudioConverterOutputStatus)convertToBuffer:(AVAudioBuffer*)output
                                          error:(NSError* __autoreleasing*)outError
                             withInputFromBlock:(__attribute__((noescape))
                                                 AVAudioConverterInputBlock)block {
    auto* const buffer = static_cast<AVAudioPCMBuffer*>(output);
    const OSStatus failure = maccheck::FakeSystem::get().called("-[AVAudioConverter convert]");
    const AVAudioFrameCount capacity = buffer.frameCapacity;
    float* const samples = buffer.floatChannelData[0];
    buffer.frameLength = 0;
    for (AVAudioFrameCount count = 0; count < capacity;) {
        if ([self takeOneInto:samples[count]]) {
            buffer.frameLength = ++count;
        } else if (unreadCount_ > 0) {
            heard_.push_back(*unread_++);
            --unreadCount_;
        } else if (hasEnded_) {
            return AVAudioConverterOutputStatus_EndOfStream;
        } else if ([self askBlock:block] == AVAudioConverterInputStatus_NoDataNow) {
            return AVAudioConverterOutputStatus_InputRanDry;
        } else if (failure != noErr) {
            if (failure != maccheck::kWithoutError)
                *outError = maccheck::makeError(failure, "the converter");
            return AVAudioConverterOutputStatus_Error;
        }
    }
    return AVAudioConverterOutputStatus_HaveData;
}
@end
