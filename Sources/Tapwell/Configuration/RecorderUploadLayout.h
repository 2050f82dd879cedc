#pragma once

#include "Tapwell/Configuration/EnvironmentSwitch.h"

namespace tapwell {

/// How the two sources share the recording's channels.
enum class RecorderUploadLayout {
    monoMix,   ///< mixed into one channel
    stereoLR,  ///< left = microphone, right = system audio
};

inline RecorderUploadLayout currentUploadLayout(const Environment& environment) {
    return isSwitchedOn(environment, "TL_MACOS_UPLOAD_STEREO_LR") ? RecorderUploadLayout::stereoLR
                                                                  : RecorderUploadLayout::monoMix;
}

inline const char* layoutName(RecorderUploadLayout layout) {
    return layout == RecorderUploadLayout::stereoLR ? "stereoLR" : "monoMix";
}

}  // namespace tapwell
