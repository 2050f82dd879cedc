#pragma once

#include "Platform/AudioObject.h"
#include "Platform/OSStatus.h"
#include "Platform/TapDescription.h"

namespace tapwell {

/// A stereo mixdown of everything that is played except by the description's processes. Any thread;
/// `outTap` is written only on success.
OSStatus createProcessTap(const TapDescription& description, AudioObjectID& outTap);
OSStatus destroyProcessTap(AudioObjectID tap);

}  // namespace tapwell
