#pragma once

#include "EndToEnd/AudioSession.h"
#include "Support/DecodedAudio.h"
#include "Support/TapwellProcess.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tapwell::test {

/// The program, an audio server of its own, and a directory for what it records.
class RecordingTest : public testing::Test {
protected:
    using Milliseconds = std::chrono::milliseconds;

    /// Starts the server and the program, the latter with these variables too.
    void launch(const std::vector<std::string>& serverOptions = {}, int sampleRate = 48000,
                const TapwellProcess::Environment& switches = {});

    /// Starts the program for a server that the test has named in `environment`.
    void launchWithoutServer(const TapwellProcess::Environment& environment);

    AudioSession& audio() { return *audio_; }
    TapwellProcess& tapwell() { return *tapwell_; }
    std::filesystem::path file(const std::string& name = "recording.m4a") const {
        return directory_ / name;
    }

    /// Commands whose answer must be `started` or `finalized`, with what these events promise.
    void start(const std::filesystem::path& path);
    void stop(const std::filesystem::path& path);
    /// Starts, lets so much time of the recording pass, and stops.
    void record(const std::filesystem::path& path, Milliseconds length);

    /// Lets time of a recording pass: there is nothing else to wait for.
    static void letPass(Milliseconds length);

    /// The recording as stock tools see it; a failure when it does not play.
    static DecodedAudio decoded(const std::filesystem::path& path);

    void TearDown() override;

private:
    TemporaryDirectory directory_;
    std::unique_ptr<AudioSession> audio_;
    std::unique_ptr<TapwellProcess> tapwell_;
};

/// A sine of the given peak.
std::vector<float> tone(double frequencyHz, double peak, double seconds, int sampleRate);

std::vector<float> silence(double seconds, int sampleRate);

}  // namespace tapwell::test
