#pragma once

#include "Support/ChildProcess.h"
#include "Support/TapwellProcess.h"
#include "Support/TemporaryDirectory.h"

#include <sys/types.h>

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
    /// What is played goes into this stereo sink and this microphone as well.
    void playAlsoInto(const std::string& sink, const std::string& microphone) const;
    /// Plays into the named sink or microphone, beside all that is played already; returns when it
    /// has begun. Ends with the server, or with the sound.
    void playInto(const std::string& node, const std::vector<float>& samples);
    void stopPlaying();

    /// Chooses a default, as a user would. Returns at once.
    void setDefaultSink(const std::string& name) const;
    void setDefaultSource(const std::string& name) const;
    /// Removes and adds a virtual sink or microphone; `properties` in the server's own notation.
    void destroyNode(const std::string& name) const;
    void createNode(const std::string& name, const std::string& properties) const;
    void awaitDefaultSink(const std::string& name) const;
    /// The rate of the graph from now on, in Hz, whatever the devices prefer.
    void forceRate(int rateHz) const;
    /// Takes the recorder's microphone stream off the named microphone, and puts it back.
    void unlinkRecorderFrom(const std::string& microphone) const;
    void linkRecorderTo(const std::string& microphone) const;
    /// How many streams, links and clients the server has. Throws std::runtime_error when it does
    /// not answer.
    std::size_t objectCount() const;

    /// Returns when the default microphone is the named one.
    void awaitDefaultMicrophone(const std::string& name) const;

    /// Kills the server's processes.
    void killServer();
    /// After a kill: starts them again. What was played has ended.
    void startServer();
    /// The server's process.
    pid_t daemonPid() const;

private:
    void readEnvironment(const std::string& lastLine);
    std::string run(const std::vector<std::string>& arguments) const;
    std::string defaultNode(const std::string& key) const;
    ChildProcess::Output runClient(std::vector<std::string> arguments) const;
    void link(const std::string& outputPort, const std::string& inputPort) const;

    int sampleRate_;
    TemporaryDirectory directory_;
    TapwellProcess::Environment environment_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> player_;
    std::vector<std::unique_ptr<ChildProcess>> otherPlayers_;
    int playersMade_ = 0;
};

}  // namespace tapwell::test
