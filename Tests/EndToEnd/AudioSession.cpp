#include "EndToEnd/AudioSession.h"

#include "Support/WavFile.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>
#include <stdexcept>
#include <thread>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

ChildProcess::TimePoint soon() {
    return std::chrono::steady_clock::now() + 20s;
}

void waitUntil(const std::string& what, const std::function<bool()>& holds) {
    const auto deadline = soon();
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("no " + what);
        std::this_thread::sleep_for(10ms);
    }
}

std::vector<std::string> serverCommand(const std::vector<std::string>& options, int sampleRate) {
    std::vector<std::string> arguments{TAPWELL_PRIVATE_AUDIO_SERVER, "--commands", "--rate",
                                       std::to_string(sampleRate)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
}

}  // namespace

AudioSession::AudioSession(const std::vector<std::string>& options, int sampleRate)
    : sampleRate_(sampleRate),
      server_(std::make_unique<ChildProcess>(serverCommand(options, sampleRate))) {
    readEnvironment("ready");
}

AudioSession::~AudioSession() {
    stopPlaying();
    // The end of its input is the server's end, and leaves nothing behind.
    server_->closeInput();
    server_->wait(soon());
}

void AudioSession::readEnvironment(const std::string& lastLine) {
    std::string line;
    while (server_->standardOutput().takeLine(line, soon())) {
        if (line == lastLine) return;
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos) {
            environment_[line.substr(0, equals)] = line.substr(equals + 1);
        }
    }
    server_->standardError().waitForEnd(std::chrono::steady_clock::now() + 2s);
    throw std::runtime_error("the audio server did not come up: " +
                             server_->standardError().text());
}

ChildProcess::Output AudioSession::runClient(std::vector<std::string> arguments) const {
    return ChildProcess::run(arguments, environment_);
}

std::string AudioSession::defaultNode(const std::string& key) const {
    const std::string text = runClient({"pw-metadata", "0", key}).standardOutput;
    const std::string before = "\"name\":\"";
    const std::size_t position = text.find(before);
    if (position == std::string::npos) return "";
    const std::size_t first = position + before.size();
    return text.substr(first, text.find('"', first) - first);
}

void AudioSession::link(const std::string& outputPort, const std::string& inputPort) const {
    waitUntil("link from " + outputPort + " to " + inputPort, [&] {
        return runClient({"pw-link", outputPort, inputPort}).ending.exitStatus == 0;
    });
}

void AudioSession::play(const TwoSidedSound& sound) {
    stopPlaying();
    const std::filesystem::path file = directory_ / "sound.wav";
    writeWavFile(file, sampleRate_, {sound.speaker, sound.microphone});
    // A target of 0 keeps the session manager from linking the player itself.
    player_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"pw-play", "--target", "0", "-P", "{ node.name=feed }",
                                 file.string()},
        environment_);
    playAlsoInto(defaultNode("default.audio.sink"), defaultNode("default.audio.source"));
}

void AudioSession::playAlsoInto(const std::string& sink, const std::string& microphone) const {
    link("feed:output_FL", sink + ":playback_FL");
    link("feed:output_FL", sink + ":playback_FR");
    link("feed:output_FR", microphone + ":input_MONO");
}

void AudioSession::playInto(const std::string& node, const std::vector<float>& samples) {
    const std::string name = "feed-" + std::to_string(++playersMade_);
    const std::filesystem::path file = directory_ / (name + ".wav");
    writeWavFile(file, sampleRate_, {samples});
    otherPlayers_.push_back(std::make_unique<ChildProcess>(
        std::vector<std::string>{"pw-play", "--target", "0", "-P", "{ node.name=" + name + " }",
                                 file.string()},
        environment_));
    const std::string inputs = runClient({"pw-link", "--input"}).standardOutput;
    for (const char* port : {":playback_FL", ":playback_FR", ":playback_MONO", ":input_MONO"}) {
        if (inputs.find(node + port + "\n") != std::string::npos)
            link(name + ":output_MONO", node + port);
    }
}

void AudioSession::stopPlaying() {
    player_.reset();
    otherPlayers_.clear();
}

void AudioSession::setDefaultSink(const std::string& name) const {
    run({"pw-metadata", "0", "default.configured.audio.sink", "{\"name\":\"" + name + "\"}",
         "Spa:String:JSON"});
}

void AudioSession::setDefaultSource(const std::string& name) const {
    run({"pw-metadata", "0", "default.configured.audio.source", "{\"name\":\"" + name + "\"}",
         "Spa:String:JSON"});
}

void AudioSession::destroyNode(const std::string& name) const {
    run({"pw-cli", "destroy", name});
}

void AudioSession::createNode(const std::string& name, const std::string& properties) const {
    run({"pw-cli", "create-node", "adapter",
         "{ factory.name=support.null-audio-sink object.linger=true monitor.channel-volumes=true "
         "node.name=" +
             name + " " + properties + " }"});
}

void AudioSession::awaitDefaultSink(const std::string& name) const {
    waitUntil("default sink " + name, [&] { return defaultNode("default.audio.sink") == name; });
}

void AudioSession::forceRate(int rateHz) const {
    run({"pw-metadata", "-n", "settings", "0", "clock.force-rate", std::to_string(rateHz)});
}

void AudioSession::unlinkRecorderFrom(const std::string& microphone) const {
    run({"pw-link", "-d", microphone + ":capture_MONO", "tapwell.microphone:input_MONO"});
}

void AudioSession::linkRecorderTo(const std::string& microphone) const {
    run({"pw-link", microphone + ":capture_MONO", "tapwell.microphone:input_MONO"});
}

std::size_t AudioSession::objectCount() const {
    const std::string objects = run({"pw-cli", "ls"});
    return static_cast<std::size_t>(std::count(objects.begin(), objects.end(), '\n'));
}

std::string AudioSession::run(const std::vector<std::string>& arguments) const {
    const ChildProcess::Output output = runClient(arguments);
    if (output.ending.exitStatus != 0)
        throw std::runtime_error(arguments[0] + " failed: " + output.standardError);
    return output.standardOutput;
}

void AudioSession::awaitDefaultMicrophone(const std::string& name) const {
    waitUntil("default microphone " + name,
              [&] { return defaultNode("default.audio.source") == name; });
}

void AudioSession::killServer() {
    server_->write("stop\n");
    std::string line;
    server_->standardOutput().takeLine(line, soon());
    if (line != "ok") throw std::runtime_error("the audio server did not stop");
}

void AudioSession::startServer() {
    stopPlaying();
    server_->write("start\n");
    readEnvironment("ok");
}

pid_t AudioSession::daemonPid() const {
    return std::stoi(environment_.at("PRIVATE_AUDIO_SERVER_PIPEWIRE_PID").value());
}

}  // namespace tapwell::test
