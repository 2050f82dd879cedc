#pragma once

#include "Platform/PcmBuffer.h"

@class AVAudioPCMBuffer;

namespace tapwell {

/// A copy of mono float frames as the system's buffer; nil when there are none or no memory.
AVAudioPCMBuffer* makeSystemBuffer(const PcmBuffer& buffer);

}  // namespace tapwell
