#include "Tapwell/Outputs/MixedPCMSampleBuilder.h"

namespace tapwell {

MixedPCMSampleBuilder::MixedPCMSampleBuilder(double mixBusSampleRateHz)
    : PCMSampleBuilder(
          mixBusSampleRateHz,
          {1, kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked | kAudioFormatFlagIsNonInterleaved,
           "", 31, "Missing PCM format", "Empty mono buffer"}) {}

}  // namespace tapwell
