#pragma once

#include "Platform/PcmBuffer.h"

#include <span>
#include <vector>

namespace tapwell {

/// A buffer's frames as mono samples: one channel of 32-bit float or 16-bit integer as it is, two
/// of float averaged, in either interleaving. Throws RecorderError (code 10) for any other layout.
std::vector<float> monoSamples(const PcmBuffer& buffer);

/// Puts the samples into every channel of a buffer of 32-bit float or 16-bit integer that has room
/// for them, and sets its frame length. The inverse of monoSamples where that works.
void writeToAllChannels(std::span<const float> mono, PcmBuffer& buffer);

}  // namespace tapwell
