#pragma once

#include <AVFAudio/AVFAudio.h>

// What the fakes and the tests ask these classes beyond what the host does.
@interface AVAudioFormat (Fake)
- (double)sampleRate;
- (AVAudioChannelCount)channelCount;
@end

@interface AVAudioPCMBuffer (Fake)
- (AVAudioFrameCount)frameCapacity;
@end
