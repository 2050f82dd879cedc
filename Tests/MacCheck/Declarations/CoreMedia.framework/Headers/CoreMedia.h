#pragma once

#include <CoreAudioTypes/CoreAudioTypes.h>

typedef CFIndex CMItemCount;
static_assert(sizeof(CMItemCount) == 8);

#pragma pack(push, 4)
struct CMTime {
    SInt64 value;
    SInt32 timescale;
    UInt32 flags;
    SInt64 epoch;
};
#pragma pack(pop)
static_assert(sizeof(CMTime) == 24 && alignof(CMTime) == 4);
static_assert(offsetof(CMTime, flags) == 12 && offsetof(CMTime, epoch) == 16);
enum : UInt32 {
    kCMTimeFlags_Valid = 1,
    kCMTimeFlags_HasBeenRounded = 2,
    kCMTimeFlags_PositiveInfinity = 4,
    kCMTimeFlags_NegativeInfinity = 8,
    kCMTimeFlags_Indefinite = 16,
};

struct CMSampleTimingInfo {
    CMTime duration;
    CMTime presentationTimeStamp;
    CMTime decodeTimeStamp;
};
static_assert(sizeof(CMSampleTimingInfo) == 72);

#pragma pack(push, 4)
struct CMBlockBufferCustomBlockSource {
    UInt32 version;
    void* (*AllocateBlock)(void* context, std::size_t size);
    void (*FreeBlock)(void* context, void* block, std::size_t size);
    void* refCon;
};
#pragma pack(pop)
static_assert(sizeof(CMBlockBufferCustomBlockSource) == 28);

typedef UInt32 CMBlockBufferFlags;
enum : CMBlockBufferFlags { kCMBlockBufferAssureMemoryNowFlag = 1 };

typedef struct OpaqueCMBlockBuffer* CMBlockBufferRef;
typedef struct opaqueCMSampleBuffer* CMSampleBufferRef;
typedef const struct opaqueCMFormatDescription* CMFormatDescriptionRef;
typedef CMFormatDescriptionRef CMAudioFormatDescriptionRef;
struct AudioChannelLayout;

extern "C" {
CMTime CMTimeMake(SInt64 value, SInt32 timescale);
OSStatus CMAudioFormatDescriptionCreate(CFAllocatorRef allocator,
                                        const AudioStreamBasicDescription* stream,
                                        std::size_t layoutSize, const AudioChannelLayout* layout,
                                        std::size_t cookieSize, const void* cookie,
                                        CFDictionaryRef extensions,
                                        CMAudioFormatDescriptionRef* outDescription);
OSStatus CMBlockBufferCreateWithMemoryBlock(CFAllocatorRef structureAllocator, void* memory,
                                            std::size_t length, CFAllocatorRef blockAllocator,
                                            const CMBlockBufferCustomBlockSource* customSource,
                                            std::size_t offset, std::size_t dataLength,
                                            CMBlockBufferFlags flags, CMBlockBufferRef* outBlock);
OSStatus CMBlockBufferReplaceDataBytes(const void* source, CMBlockBufferRef destination,
                                       std::size_t offset, std::size_t length);
OSStatus CMSampleBufferCreateReady(CFAllocatorRef allocator, CMBlockBufferRef data,
                                   CMFormatDescriptionRef format, CMItemCount sampleCount,
                                   CMItemCount timingCount, const CMSampleTimingInfo* timings,
                                   CMItemCount sizeCount, const std::size_t* sizes,
                                   CMSampleBufferRef* outBuffer);
}
