#pragma once

#include "Support/ChildProcess.h"

#include <sys/types.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tapwell::test {

/// A private audio server (scripts/private-audio-server) for the time of a test: sinks "out-a",
/// the default, and "out-b", stereo; microphones "mic-a", the default, and "mic-b", mono.
///
/// While it lives, this process's environment leads clients to it, and with it that of the
/// processes started meanwhile; so one at a time, and made before threads that read the
/// environment.
class PrivateAudioServer {
public:
    struct Options {
        int sampleRateHz = 48000;
        int quantumFrames = 1024;
        bool hasMicrophones = true;
        bool hasSinks = true;
        bool hasSessionManager = true;
        bool servesPulse = false;
    };

    /// Returns when the defaults are set. Throws std::runtime_error with the server's logs when it
    /// did not come up.
    PrivateAudioServer() : PrivateAudioServer(Options()) {}
    explicit PrivateAudioServer(const Options& options);
    ~PrivateAudioServer();
    PrivateAudioServer(const PrivateAudioServer&) = delete;
    PrivateAudioServer& operator=(const PrivateAudioServer&) = delete;

    /// Kills the daemons without notice, as a crash would end them.
    void stop();
    /// After `stop`: starts them in the same place. The process ids change.
    void start();
    void stopSessionManager();
    void startSessionManager();

    pid_t daemonPid() const;
    pid_t sessionManagerPid() const;
    /// Variables that lead a client here.
    const std::map<std::string, std::string>& environment() const { return environment_; }

    /// Chooses the default sink or source, as a user would. Returns at once.
    void setDefaultSink(const std::string& name) const;
    void setDefaultSource(const std::string& name) const;
    /// Removes a sink or source.
    void destroyNode(const std::string& name) const;
    /// Adds a virtual sink, given properties in the server's own notation.
    void createNode(const std::string& properties) const;

    /// Runs a tool against the server; throws std::runtime_error when it fails.
    static std::string run(const std::vector<std::string>& arguments);

private:
    void command(const std::string& name);
    /// Takes lines until one of these; variables on the way are set.
    void readReplies(const std::string& last);
    void set(const std::string& variable, const std::string& value);

    std::unique_ptr<ChildProcess> script_;
    std::map<std::string, std::string> environment_;
    std::map<std::string, std::optional<std::string>> previousEnvironment_;
};

}  // namespace tapwell::test
