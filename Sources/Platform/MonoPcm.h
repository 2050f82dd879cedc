#pragma once

#include "Platform/PcmBuffer.h"

#include <optional>
#include <span>

namespace tapwell {

/// A buffer of mono 32-bit floats at `sampleRate` Hz holding a copy of the samples. Absent when
/// there are none, or too many, or the rate is not usable.
std::optional<PcmBuffer> monoFloatBuffer(std::span<const float> samples, double sampleRate);

/// The samples of a mono 32-bit float buffer.
std::span<const float> monoFloatSamples(const PcmBuffer& buffer);

}  // namespace tapwell
