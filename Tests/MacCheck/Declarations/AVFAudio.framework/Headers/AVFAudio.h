#pragma once

#include <CoreAudioTypes/CoreAudioTypes.h>
#include <Foundation/Foundation.h>

typedef UInt32 AVAudioFrameCount;
typedef UInt32 AVAudioPacketCount;
typedef UInt32 AVAudioChannelCount;
static_assert(sizeof(AVAudioFrameCount) == 4);

enum AVAudioConverterInputStatus : NSInteger {
    AVAudioConverterInputStatus_HaveData = 0,
    AVAudioConverterInputStatus_NoDataNow = 1,
    AVAudioConverterInputStatus_EndOfStream = 2,
};
enum AVAudioConverterOutputStatus : NSInteger {
    AVAudioConverterOutputStatus_HaveData = 0,
    AVAudioConverterOutputStatus_InputRanDry = 1,
    AVAudioConverterOutputStatus_EndOfStream = 2,
    AVAudioConverterOutputStatus_Error = 3,
};
enum AVAudioQuality : NSInteger { AVAudioQualityMax = 0x7F };

__attribute__((availability(macos, introduced = 10.10)))
@interface AVAudioFormat : NSObject
- (instancetype)initStandardFormatWithSampleRate:(double)rate channels:(AVAudioChannelCount)count;
@end

@interface AVAudioBuffer : NSObject
@end

@interface AVAudioPCMBuffer : AVAudioBuffer
- (instancetype)initWithPCMFormat:(AVAudioFormat*)format frameCapacity:(AVAudioFrameCount)frames;
@property(nonatomic) AVAudioFrameCount frameLength;
@property(nonatomic, readonly) float* const* floatChannelData;
@end

typedef AVAudioBuffer* (^AVAudioConverterInputBlock)(AVAudioPacketCount packets,
                                                     AVAudioConverterInputStatus* outStatus);

__attribute__((availability(macos, introduced = 10.11)))
@interface AVAudioConverter : NSObject
- (instancetype)initFromFormat:(AVAudioFormat*)from toFormat:(AVAudioFormat*)to;
- (AVAudioConverterOutputStatus)convertToBuffer:(AVAudioBuffer*)output
                                          error:(NSError* __autoreleasing*)outError
                             withInputFromBlock:(__attribute__((noescape))
                                                 AVAudioConverterInputBlock)block;
@property(nonatomic) NSInteger sampleRateConverterQuality;
@end
