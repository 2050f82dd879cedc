#include "Tapwell/Outputs/StereoPCMSampleBuilder.h"

namespace tapwell {

StereoPCMSampleBuilder::StereoPCMSampleBuilder(double mixBusSampleRateHz)
    : PCMSampleBuilder(mixBusSampleRateHz,
                       {2, kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked, "stereo ", 38,
                        "Missing stereo PCM format", "Invalid interleaved stereo buffer"}) {}

}  // namespace tapwell
