#include "Support/PrivateAudioServer.h"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kReplyLimit = 30s;

std::vector<std::string> commandLine(const PrivateAudioServer::Options& options) {
    std::vector<std::string> arguments{
        TAPWELL_PRIVATE_AUDIO_SERVER,         "--commands", "--rate",
        std::to_string(options.sampleRateHz), "--quantum",  std::to_string(options.quantumFrames)};
    if (!options.hasMicrophones) arguments.emplace_back("--no-microphone");
    if (!options.hasSinks) arguments.emplace_back("--no-sink");
    if (!options.hasSessionManager) arguments.emplace_back("--no-session-manager");
    if (options.servesPulse) arguments.emplace_back("--pulse");
    return arguments;
}

}  // namespace

PrivateAudioServer::PrivateAudioServer(const Options& options)
    : script_(std::make_unique<ChildProcess>(commandLine(options))) {
    readReplies("ready");
}

PrivateAudioServer::~PrivateAudioServer() {
    script_->closeInput();
    script_->wait(std::chrono::steady_clock::now() + kReplyLimit);
    for (const auto& [variable, value] : previousEnvironment_) {
        if (value)
            setenv(variable.c_str(), value->c_str(), 1);
        else
            unsetenv(variable.c_str());
    }
}

void PrivateAudioServer::stop() {
    command("stop");
}

void PrivateAudioServer::start() {
    command("start");
}

void PrivateAudioServer::stopSessionManager() {
    command("stop-session-manager");
}

void PrivateAudioServer::startSessionManager() {
    command("start-session-manager");
}

void PrivateAudioServer::command(const std::string& name) {
    if (!script_->write(name + "\n")) throw std::runtime_error("the audio server's script is gone");
    readReplies("ok");
}

void PrivateAudioServer::readReplies(const std::string& last) {
    const auto deadline = std::chrono::steady_clock::now() + kReplyLimit;
    std::string line;
    while (script_->standardOutput().takeLine(line, deadline)) {
        if (line == last) return;
        if (line == "failed") break;
        const std::size_t separator = line.find('=');
        if (separator == std::string::npos) break;
        set(line.substr(0, separator), line.substr(separator + 1));
    }
    throw std::runtime_error("no private audio server:\n" + script_->standardError().text());
}

void PrivateAudioServer::set(const std::string& variable, const std::string& value) {
    if (!previousEnvironment_.contains(variable)) {
        const char* previous = std::getenv(variable.c_str());
        previousEnvironment_[variable] =
            previous != nullptr ? std::optional<std::string>(previous) : std::nullopt;
    }
    environment_[variable] = value;
    setenv(variable.c_str(), value.c_str(), 1);
}

pid_t PrivateAudioServer::daemonPid() const {
    return std::stoi(environment_.at("PRIVATE_AUDIO_SERVER_PIPEWIRE_PID"));
}

pid_t PrivateAudioServer::sessionManagerPid() const {
    return std::stoi(environment_.at("PRIVATE_AUDIO_SERVER_WIREPLUMBER_PID"));
}

std::string PrivateAudioServer::run(const std::vector<std::string>& arguments) {
    const ChildProcess::Output output = ChildProcess::run(arguments);
    if (output.ending.exitStatus != 0)
        throw std::runtime_error(arguments[0] + " failed: " + output.standardError);
    return output.standardOutput;
}

void PrivateAudioServer::setDefaultSink(const std::string& name) const {
    run({"pw-metadata", "0", "default.configured.audio.sink", "{\"name\":\"" + name + "\"}",
         "Spa:String:JSON"});
}

void PrivateAudioServer::setDefaultSource(const std::string& name) const {
    run({"pw-metadata", "0", "default.configured.audio.source", "{\"name\":\"" + name + "\"}",
         "Spa:String:JSON"});
}

void PrivateAudioServer::destroyNode(const std::string& name) const {
    run({"pw-cli", "destroy", name});
}

void PrivateAudioServer::createNode(const std::string& properties) const {
    run({"pw-cli", "create-node", "adapter",
         "{ factory.name=support.null-audio-sink object.linger=true " + properties + " }"});
}

}  // namespace tapwell::test
