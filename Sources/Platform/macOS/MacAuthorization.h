#pragma once

#include "Platform/Authorization.h"

namespace tapwell {

/// The user's decisions about microphone and system audio.
class MacAuthorization final : public Authorization {
public:
    long microphoneStatus() override;
    void requestMicrophoneAccess(std::function<void(bool granted)> completion) override;
    std::optional<int> systemAudioPreflight() override;
};

}  // namespace tapwell
