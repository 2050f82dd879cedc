#include "EndToEnd/RecordingTest.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <iostream>
#include <numbers>
#include <thread>

namespace tapwell::test {

void RecordingTest::launch(const std::vector<std::string>& serverOptions, int sampleRate,
                           const TapwellProcess::Environment& switches) {
    audio_ = std::make_unique<AudioSession>(serverOptions, sampleRate);
    TapwellProcess::Environment environment = switches;
    environment.merge(TapwellProcess::Environment(audio_->environment()));
    tapwell_ = std::make_unique<TapwellProcess>(TAPWELL_PROGRAM, environment);
}

void RecordingTest::launchWithoutServer(const TapwellProcess::Environment& environment) {
    tapwell_ = std::make_unique<TapwellProcess>(TAPWELL_PROGRAM, environment);
}

void RecordingTest::start(const std::filesystem::path& path) {
    const nlohmann::json expected{{"event", "started"}, {"outputPath", path.string()}};
    ASSERT_EQ(tapwell().start(path), expected);
}

void RecordingTest::stop(const std::filesystem::path& path) {
    const nlohmann::json event = tapwell().stop();
    ASSERT_EQ(event.value("event", ""), "finalized") << event;
    EXPECT_EQ(event["outputPath"], path.string());
    EXPECT_EQ(event["bytes"], std::filesystem::file_size(path));
}

void RecordingTest::record(const std::filesystem::path& path, Milliseconds length) {
    ASSERT_NO_FATAL_FAILURE(start(path));
    letPass(length);
    ASSERT_NO_FATAL_FAILURE(stop(path));
}

void RecordingTest::letPass(Milliseconds length) {
    std::this_thread::sleep_for(length);
}

DecodedAudio RecordingTest::decoded(const std::filesystem::path& path) {
    DecodedAudio audio = DecodedAudio::ofFile(path);
    EXPECT_TRUE(audio.plays) << path << ": " << audio.complaints;
    return audio;
}

void RecordingTest::TearDown() {
    if (!tapwell_) return;
    // Also what a sanitizer has to say at the end shows in the exit status.
    const auto ending = tapwell_->endInput();
    const bool endedWell = ending && (ending->exitStatus == 0 || ending->signal == SIGKILL);
    EXPECT_TRUE(endedWell) << "the program did not end as it should";
    if (!HasFailure()) return;
    constexpr std::size_t longest = 8000;
    const std::string log = tapwell_->standardError().text();
    std::cerr << "--- what the program logged last\n"
              << log.substr(log.size() - std::min(longest, log.size()));
}

std::vector<float> tone(double frequencyHz, double peak, double seconds, int sampleRate) {
    std::vector<float> samples(static_cast<std::size_t>(seconds * sampleRate));
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const double turns = frequencyHz * static_cast<double>(index) / sampleRate;
        samples[index] = static_cast<float>(peak * std::sin(2 * std::numbers::pi * turns));
    }
    return samples;
}

std::vector<float> silence(double seconds, int sampleRate) {
    return std::vector<float>(static_cast<std::size_t>(seconds * sampleRate));
}

}  // namespace tapwell::test
