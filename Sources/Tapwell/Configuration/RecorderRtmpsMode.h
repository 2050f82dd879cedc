#pragma once

#include "Tapwell/Configuration/EnvironmentSwitch.h"

namespace tapwell {

/// Whether stereo PCM goes to standard output in place of a file.
struct RecorderRtmpsMode {
    static bool isEnabled(const Environment& environment) {
        return isSwitchedOn(environment, "TL_RECORDER_RTMPS_MODE");
    }
};

}  // namespace tapwell
