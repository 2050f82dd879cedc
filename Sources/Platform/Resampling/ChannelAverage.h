#pragma once

#include "Platform/PcmBuffer.h"

#include <vector>

namespace tapwell {

/// Whether `appendChannelAverage` takes buffers of this format: 32-bit float or 16-bit integer.
bool canAverageChannels(const AudioFormat& format);

/// Appends the mean of all channels, frame by frame, as float; 16-bit samples are divided by 32768.
/// A sample that is no finite number counts as silence: once in a filter's history it would wipe
/// out everything near it.
void appendChannelAverage(const PcmBuffer& buffer, std::vector<float>& mono);

}  // namespace tapwell
