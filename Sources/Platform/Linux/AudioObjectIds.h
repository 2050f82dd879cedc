#pragma once

#include "Platform/AudioObject.h"

namespace tapwell {

/// Gives out object ids, none of them twice.
class AudioObjectIds {
public:
    AudioObjectID next() { return next_++; }

private:
    AudioObjectID next_ = kAudioObjectSystemObject + 1;
};

}  // namespace tapwell
