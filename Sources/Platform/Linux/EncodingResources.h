#pragma once

#include "Platform/Clock.h"

namespace tapwell {

/// What a writer's encoding may use.
struct EncodingResources {
    const Clock& clock;         ///< tells how fast samples arrive; must outlive the writer
    unsigned encoderCount = 1;  ///< encoders at work at once, at least 1
};

}  // namespace tapwell
