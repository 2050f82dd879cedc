#include "Fakes/FakeFoundation.h"
#include "Fakes/FakeSystem.h"

#include <CoreMedia/CoreMedia.h>

// Every object of Core Media is a string object that tells what it was made of.
namespace {

template <typename Reference>
Reference make(const std::string& text) {
    return reinterpret_cast<Reference>(
        const_cast<void*>(static_cast<const void*>(maccheck::makeString(text))));
}

std::string text(const CMTime& time) {
    return std::to_string(time.value) + "/" + std::to_string(time.timescale) +
           ((time.flags & kCMTimeFlags_Valid) != 0 ? "" : " invalid");
}

}  // namespace

extern "C" {

OSStatus CMAudioFormatDescriptionCreate(CFAllocatorRef, const AudioStreamBasicDescription* stream,
                                        std::size_t, const AudioChannelLayout*, std::size_t,
                                        const void*, CFDictionaryRef,
                                        CMAudioFormatDescriptionRef* outDescription) {
    const OSStatus status = maccheck::FakeSystem::get().called(__func__);
    if (status != noErr) return status;
    *outDescription =
        make<CMAudioFormatDescriptionRef>(std::to_string(int(stream->mSampleRate)) + " Hz, " +
                                          std::to_string(stream->mChannelsPerFrame) + " ch");
    return noErr;
}

OSStatus CMBlockBufferCreateWithMemoryBlock(CFAllocatorRef, void* memory, std::size_t length,
                                            CFAllocatorRef, const CMBlockBufferCustomBlockSource*,
                                            std::size_t offset, std::size_t dataLength,
                                            CMBlockBufferFlags flags, CMBlockBufferRef* outBlock) {
    auto& system = maccheck::FakeSystem::get();
    const OSStatus status = system.called(__func__);
    if (status != noErr) return status;
    if (memory != nullptr || offset != 0 || dataLength != length ||
        flags != kCMBlockBufferAssureMemoryNowFlag)
        system.violated("a block buffer without memory of its own");
    *outBlock = make<CMBlockBufferRef>(std::to_string(length) + " bytes");
    return noErr;
}

OSStatus CMBlockBufferReplaceDataBytes(const void*, CMBlockBufferRef, std::size_t, std::size_t) {
    return maccheck::FakeSystem::get().called(__func__);
}

OSStatus CMSampleBufferCreateReady(CFAllocatorRef, CMBlockBufferRef data,
                                   CMFormatDescriptionRef format, CMItemCount sampleCount,
                                   CMItemCount timingCount, const CMSampleTimingInfo* timings,
                                   CMItemCount sizeCount, const std::size_t* sizes,
                                   CMSampleBufferRef* outBuffer) {
    auto& system = maccheck::FakeSystem::get();
    const OSStatus status = system.called(__func__);
    if (status != noErr) return status;
    if (timingCount != 1 || sizeCount != 1) system.violated("not one timing and one size");
    *outBuffer = make<CMSampleBufferRef>(
        maccheck::textOfObject(data) + " of " + maccheck::textOfObject(format) + ": " +
        std::to_string(sampleCount) + " x " + std::to_string(sizes[0]) + " at " +
        text(timings[0].presentationTimeStamp) + " for " + text(timings[0].duration) +
        ", decoded " + text(timings[0].decodeTimeStamp));
    return noErr;
}

CMTime CMTimeMake(std::int64_t value, std::int32_t timescale) {
    return {value, timescale, kCMTimeFlags_Valid, 0};
}

}  // extern "C"
