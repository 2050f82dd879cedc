#pragma once

#include "Tapwell/Configuration/EnvironmentSwitch.h"

namespace tapwell {

/// Whether live transcription runs beside a recording.
struct RecorderSTTMode {
    static bool isEnabled(const Environment& environment) {
        return isSwitchedOn(environment, "TL_RECORDER_STT_ENABLED");
    }
};

}  // namespace tapwell
