#pragma once

#include "Tapwell/Configuration/EnvironmentSwitch.h"

namespace tapwell {

/// Whether the two sources are written as files of their own and merged at stop.
struct RecorderDualTrackMode {
    static bool isEnabled(const Environment& environment) {
        return isSwitchedOn(environment, "TL_MACOS_DUAL_TRACK_RECORDING");
    }
    /// Whether those files stay after a merge that succeeded.
    static bool keepCaptureWavAfterMerge(const Environment& environment) {
        return isSwitchedOn(environment, "TL_MACOS_DUAL_TRACK_KEEP_CAPTURE_WAV");
    }
};

}  // namespace tapwell
