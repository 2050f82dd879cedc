#pragma once

#include "Support/ChildProcess.h"
#include "Support/TapwellProcess.h"
#include "Support/TemporaryDirectory.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tapwell::test {

/// Sound for the speaker and the microphone, one channel each, sample by sample at the same time.
struct TwoSidedSound {
    std::vector<float> speaker;
    std::vector<float> microphone;
};

/// A private audio server with a virtual speaker and a virtual microphone, and what a test makes
/// them hear. Everything ends with the object.
class AudioSession {
public:
    /// `options` are those of scripts/private-audio-server. Throws std::runtime_error when the
    /// server does not come up.
    explicit AudioSession(const std::vector<std::string>& options = {}, int sampleRate = 48000);
    ~AudioSession();
    AudioSession(const AudioSession&) = delete;
    AudioSession& operator=(const AudioSession&) = delete;

    /// What a client needs to find the server.
    const TapwellProcess::Environment& environment() const { return environment_; }
    int sampleRate() const { return sampleRate_; }

    /// Plays into the speaker and the microphone from one stream of one clock, so that both hear
    /// their sides at the same moment; returns when it has begun. One sound at a time.
    void play(const TwoSidedSound& sound);
    void stopPlaying();

    /// Returns when the default microphone is the named one.
    void awaitDefaultMicrophone(const std::string& name) const;

    /// Kills the server's processes.
    void killServer();

private:
    void readEnvironment();
    std::string defaultNode(const std::string& key) const;
    ChildProcess::Output runClient(std::vector<std::string> arguments) const;
    void link(const std::string& outputPort, const std::string& inputPort) const;

    int sampleRate_;
    TemporaryDirectory directory_;
    TapwellProcess::Environment environment_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> player_;
};

}  // namespace tapwell::test
