#include "Platform/macOS/ConverterResampler.h"

#include "Platform/macOS/SystemError.h"

#include <AVFAudio/AVFAudio.h>

#include <algorithm>
#include <utility>

namespace tapwell {
namespace {

constexpr AVAudioFrameCount kMaxFramesAtOnce = 65536;

AVAudioFrameCount limited(std::size_t frames) {
    return static_cast<AVAudioFrameCount>(std::min<std::size_t>(frames, kMaxFramesAtOnce));
}

}  // namespace

struct ConverterResampler::Core {
    AVAudioConverter* converter;
    AVAudioFormat* source;
    AVAudioFormat* target;
    /// The converter may read it until it asks for the next one.
    AVAudioPCMBuffer* lastInput = nil;

    AVAudioPCMBuffer* makeInput(const float* samples, std::size_t count) const;
    bool convert(AVAudioPCMBuffer* input, AVAudioConverterInputStatus whenEmpty, float* output,
                 std::size_t capacity, Progress& outProgress, std::string& outError);
};

AVAudioPCMBuffer* ConverterResampler::Core::makeInput(const float* samples,
                                                      std::size_t count) const {
    if (count == 0) return nil;
    const AVAudioFrameCount frames = limited(count);
    AVAudioPCMBuffer* buffer = [[AVAudioPCMBuffer alloc] initWithPCMFormat:source
                                                             frameCapacity:frames];
    if (buffer == nil) return nil;
    buffer.frameLength = frames;
    std::copy_n(samples, frames, buffer.floatChannelData[0]);
    return buffer;
}

bool ConverterResampler::Core::convert(AVAudioPCMBuffer* input,
                                       AVAudioConverterInputStatus whenEmpty, float* output,
                                       std::size_t capacity, Progress& outProgress,
                                       std::string& outError) {
    AVAudioPCMBuffer* converted = [[AVAudioPCMBuffer alloc] initWithPCMFormat:target
                                                                frameCapacity:limited(capacity)];
    if (converted == nil) {
        outError = "no memory for a conversion";
        return false;
    }
    __block AVAudioPCMBuffer* next = input;
    NSError* error = nil;
    const AVAudioConverterOutputStatus status = [converter
           convertToBuffer:converted
                     error:&error
        withInputFromBlock:^AVAudioBuffer*(AVAudioPacketCount,
                                           AVAudioConverterInputStatus* outStatus) {
            AVAudioPCMBuffer* handedOut = next;
            next = nil;
            *outStatus = handedOut != nil ? AVAudioConverterInputStatus_HaveData : whenEmpty;
            return handedOut;
        }];
    const bool isTaken = input != nil && next == nil;
    if (isTaken) lastInput = input;
    if (status == AVAudioConverterOutputStatus_Error) {
        outError = describe(error);
        return false;
    }
    if (isTaken) outProgress.consumed = input.frameLength;
    outProgress.produced = converted.frameLength;
    std::copy_n(converted.floatChannelData[0], outProgress.produced, output);
    return true;
}

std::unique_ptr<ConverterResampler> ConverterResampler::make(double sourceRate, double targetRate) {
    @autoreleasepool {
        AVAudioFormat* source = [[AVAudioFormat alloc] initStandardFormatWithSampleRate:sourceRate
                                                                               channels:1];
        AVAudioFormat* target = [[AVAudioFormat alloc] initStandardFormatWithSampleRate:targetRate
                                                                               channels:1];
        if (source == nil || target == nil) return nullptr;
        AVAudioConverter* converter = [[AVAudioConverter alloc] initFromFormat:source
                                                                      toFormat:target];
        if (converter == nil) return nullptr;
        converter.sampleRateConverterQuality = AVAudioQualityMax;
        return std::unique_ptr<ConverterResampler>(new ConverterResampler(std::make_unique<Core>(
            Core{.converter = converter, .source = source, .target = target})));
    }
}

ConverterResampler::ConverterResampler(std::unique_ptr<Core> core) : core_(std::move(core)) {}

ConverterResampler::~ConverterResampler() = default;

bool ConverterResampler::process(const float* input, std::size_t inputCount, float* output,
                                 std::size_t capacity, Progress& outProgress,
                                 std::string& outError) {
    @autoreleasepool {
        outProgress = {};
        AVAudioPCMBuffer* buffer = core_->makeInput(input, inputCount);
        if (buffer == nil && inputCount > 0) {
            outError = "no memory for a conversion";
            return false;
        }
        return core_->convert(buffer, AVAudioConverterInputStatus_NoDataNow, output, capacity,
                              outProgress, outError);
    }
}

bool ConverterResampler::flush(float* output, std::size_t capacity, Progress& outProgress,
                               std::string& outError) {
    @autoreleasepool {
        outProgress = {};
        return core_->convert(nil, AVAudioConverterInputStatus_EndOfStream, output, capacity,
                              outProgress, outError);
    }
}

}  // namespace tapwell
