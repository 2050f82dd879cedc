#include "Platform/macOS/SystemPcmBuffer.h"

#include "Platform/MonoPcm.h"

#include <AVFAudio/AVFAudio.h>

#include <algorithm>

namespace tapwell {

AVAudioPCMBuffer* makeSystemBuffer(const PcmBuffer& buffer) {
    if (buffer.frameLength() == 0) return nil;
    AVAudioFormat* format =
        [[AVAudioFormat alloc] initStandardFormatWithSampleRate:buffer.format().sampleRate()
                                                       channels:1];
    if (format == nil) return nil;
    AVAudioPCMBuffer* copy = [[AVAudioPCMBuffer alloc] initWithPCMFormat:format
                                                           frameCapacity:buffer.frameLength()];
    if (copy == nil) return nil;
    copy.frameLength = buffer.frameLength();
    std::ranges::copy(monoFloatSamples(buffer), copy.floatChannelData[0]);
    return copy;
}

}  // namespace tapwell
