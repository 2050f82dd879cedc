#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>

typedef UInt32 AudioFormatID;
typedef UInt32 AudioFormatFlags;

enum : AudioFormatID { kAudioFormatLinearPCM = 'lpcm', kAudioFormatMPEG4AAC = 'aac ' };
enum : AudioFormatFlags {
    kAudioFormatFlagIsFloat = 1,
    kAudioFormatFlagIsBigEndian = 2,
    kAudioFormatFlagIsSignedInteger = 4,
    kAudioFormatFlagIsPacked = 8,
    kAudioFormatFlagIsNonInterleaved = 0x20,
};

struct AudioStreamBasicDescription {
    Float64 mSampleRate;
    AudioFormatID mFormatID;
    AudioFormatFlags mFormatFlags;
    UInt32 mBytesPerPacket;
    UInt32 mFramesPerPacket;
    UInt32 mBytesPerFrame;
    UInt32 mChannelsPerFrame;
    UInt32 mBitsPerChannel;
    UInt32 mReserved;
};
static_assert(sizeof(AudioStreamBasicDescription) == 40);
static_assert(alignof(AudioStreamBasicDescription) == 8);
static_assert(offsetof(AudioStreamBasicDescription, mFormatID) == 8);
static_assert(offsetof(AudioStreamBasicDescription, mChannelsPerFrame) == 28);

struct SMPTETime {
    SInt16 mSubframes;
    SInt16 mSubframeDivisor;
    UInt32 mCounter;
    UInt32 mType;
    UInt32 mFlags;
    SInt16 mHours;
    SInt16 mMinutes;
    SInt16 mSeconds;
    SInt16 mFrames;
};
static_assert(sizeof(SMPTETime) == 24 && alignof(SMPTETime) == 4);

enum : UInt32 { kAudioTimeStampSampleTimeValid = 1, kAudioTimeStampHostTimeValid = 2 };

struct AudioTimeStamp {
    Float64 mSampleTime;
    UInt64 mHostTime;
    Float64 mRateScalar;
    UInt64 mWordClockTime;
    SMPTETime mSMPTETime;
    UInt32 mFlags;
    UInt32 mReserved;
};
static_assert(sizeof(AudioTimeStamp) == 64 && alignof(AudioTimeStamp) == 8);
static_assert(offsetof(AudioTimeStamp, mHostTime) == 8 && offsetof(AudioTimeStamp, mFlags) == 56);

struct AudioBuffer {
    UInt32 mNumberChannels;
    UInt32 mDataByteSize;
    void* mData;
};
static_assert(sizeof(AudioBuffer) == 16 && alignof(AudioBuffer) == 8);

struct AudioBufferList {
    UInt32 mNumberBuffers;
    AudioBuffer mBuffers[1];
};
static_assert(sizeof(AudioBufferList) == 24 && offsetof(AudioBufferList, mBuffers) == 8);

struct AudioStreamPacketDescription {
    SInt64 mStartOffset;
    UInt32 mVariableFramesInPacket;
    UInt32 mDataByteSize;
};
static_assert(sizeof(AudioStreamPacketDescription) == 16);
