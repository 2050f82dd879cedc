#include "Fakes/FakeAudio.h"

#include "Fakes/FakeObjects.h"
#include "Fakes/FakeSystem.h"

#include <sstream>
#include <vector>

@implementation AVAudioFormat {
    double rate_;
    AVAudioChannelCount channels_;
}
- (instancetype)initStandardFormatWithSampleRate:(double)rate channels:(AVAudioChannelCount)count {
    rate_ = rate;
    channels_ = count;
    const OSStatus status =
        maccheck::FakeSystem::get().called("-[AVAudioFormat init]", maccheck::textOf(self));
    return status == noErr && rate > 0 && count > 0 ? self : nil;
}
- (double)sampleRate {
    return rate_;
}
- (AVAudioChannelCount)channelCount {
    return channels_;
}
- (void)appendTextTo:(std::string&)text {
    text += std::to_string(int(rate_)) + " Hz, " + std::to_string(channels_) + " ch";
}
@end

@implementation AVAudioBuffer
@end

@implementation AVAudioPCMBuffer {
    AVAudioFormat* format_;
    AVAudioFrameCount length_;
    AVAudioFrameCount capacity_;
    std::vector<std::vector<float>> samples_;
    std::vector<float*> channels_;
}
- (instancetype)initWithPCMFormat:(AVAudioFormat*)format frameCapacity:(AVAudioFrameCount)frames {
    auto& system = maccheck::FakeSystem::get();
    if (format == nil || system.called("-[AVAudioPCMBuffer init]", std::to_string(frames)) != noErr)
        return nil;
    format_ = format;
    capacity_ = frames;
    samples_.assign(format.channelCount, std::vector<float>(frames));
    for (std::vector<float>& channel : samples_)
        channels_.push_back(channel.data());
    return self;
}
- (AVAudioFrameCount)frameCapacity {
    return capacity_;
}
- (AVAudioFrameCount)frameLength {
    return length_;
}
- (void)setFrameLength:(AVAudioFrameCount)frames {
    if (frames > capacity_) maccheck::raise("more frames than the buffer holds");
    length_ = frames;
}
- (float* const*)floatChannelData {
    return channels_.data();
}
- (void)appendTextTo:(std::string&)text {
    std::ostringstream stream;
    stream << maccheck::textOf(format_) << ':';
    for (AVAudioFrameCount i = 0; i < length_; ++i)
        stream << ' ' << samples_[0][i];
    text += stream.str();
}
@end
