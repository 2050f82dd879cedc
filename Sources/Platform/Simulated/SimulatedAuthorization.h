#pragma once

#include "Platform/Authorization.h"

namespace tapwell {

/// Answers what a test says.
class SimulatedAuthorization final : public Authorization {
public:
    long microphone = kAuthorized;
    bool answerToRequest = true;
    std::optional<int> preflight = 0;
    int requests = 0;

    long microphoneStatus() override { return microphone; }
    void requestMicrophoneAccess(std::function<void(bool granted)> completion) override {
        ++requests;
        completion(answerToRequest);
    }
    std::optional<int> systemAudioPreflight() override { return preflight; }
};

}  // namespace tapwell
