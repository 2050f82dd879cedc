#include "EndToEnd/RecordingTest.h"
#include "Support/MultiToneFit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <iostream>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

// A tone for each device, so that a recording tells which of them it heard; whole periods in the
// windows below.
constexpr double speakerA = 1000;
constexpr double speakerB = 2200;
constexpr double microphoneA = 440;
constexpr double microphoneB = 640;
constexpr std::array<double, 4> allTones{speakerA, speakerB, microphoneA, microphoneB};

constexpr double speakerPeak = 0.5;
constexpr double microphonePeak = 0.05;
/// Of the mono mix: half the speaker, three times the microphone.
constexpr double speakerLevel = 0.25;
constexpr double microphoneLevel = 0.15;
constexpr double toleranceDecibels = 0.5;
constexpr double quiet = 0.003;

constexpr const char* monoMicrophone =
    "media.class=Audio/Source/Virtual audio.position=[MONO] priority.session=2005";

class DeviceChangeTest : public RecordingTest {
protected:
    using Clock = std::chrono::steady_clock;

    /// Every device has its tone for as long as the longest test.
    void launchWithTones(double seconds = 20) {
        toneSeconds_ = seconds;
        launch();
        playTones();
    }
    void playTones() {
        playTone("out-a", speakerA, speakerPeak);
        playTone("out-b", speakerB, speakerPeak);
        playTone("mic-a", microphoneA, microphonePeak);
        playTone("mic-b", microphoneB, microphonePeak);
    }
    void playTone(const std::string& node, double frequencyHz, double peak) {
        audio().playInto(node, tone(frequencyHz, peak, toneSeconds_, audio().sampleRate()));
    }

    void startRecording() {
        ASSERT_NO_FATAL_FAILURE(start(file()));
        begin_ = Clock::now();
    }
    /// The start-up grace, in which a change would be taken up late.
    void passGrace() { letPass(2600ms); }
    /// What a change of device takes: debounce, restart, and audio to judge.
    void passChange() {
        letPass(1300ms);
        marks_.push_back(std::chrono::duration<double>(Clock::now() - begin_).count());
    }

    /// `waits`: how much longer than its time the recording may be, in seconds.
    void finishRecording(double waits = 0) {
        EXPECT_EQ(tapwell().eventsUntilStatus().back().value("state", ""), "recording");
        const double length = std::chrono::duration<double>(Clock::now() - begin_).count();
        ASSERT_NO_FATAL_FAILURE(stop(file()));
        recording_ = decoded(file());
        EXPECT_GT(recording_.decodedSeconds(), length - 0.5) << "gaps are as long as they were";
        EXPECT_LT(recording_.decodedSeconds(), length + 0.5 + waits) << "and no longer";
        // The last change is judged at the end of the recording.
        if (!marks_.empty() && waits > 0) marks_.back() = recording_.decodedSeconds();
    }

    /// The tones at the end of the `index`th change's time: those given, and nothing of the others.
    void expectTones(std::size_t index,
                     const std::vector<std::pair<double, double>>& frequenciesAndLevels) {
        const auto rate = static_cast<double>(recording_.sampleRate);
        // Some of the recording may be missing in the middle of the recorder at the mark.
        const auto end = static_cast<std::size_t>((marks_.at(index) - 0.15) * rate);
        const auto length = static_cast<std::size_t>(0.05 * rate);
        std::vector<std::vector<double>> found(allTones.size());
        for (std::size_t window = 1; window <= 7; ++window) {
            ASSERT_LE(end, recording_.samples.size()) << "change " << index;
            const auto samples =
                std::span(recording_.samples).subspan(end - window * length, length);
            const MultiToneFit fit = MultiToneFit::of(samples, rate, allTones);
            for (std::size_t i = 0; i < found.size(); ++i)
                found[i].push_back(fit.amplitudes[i]);
        }
        for (std::size_t i = 0; i < allTones.size(); ++i) {
            std::sort(found[i].begin(), found[i].end());
            const double median = found[i][found[i].size() / 2];
            const auto expected =
                std::find_if(frequenciesAndLevels.begin(), frequenciesAndLevels.end(),
                             [&](const auto& entry) { return entry.first == allTones[i]; });
            if (expected == frequenciesAndLevels.end())
                EXPECT_LT(median, quiet) << allTones[i] << " Hz after change " << index;
            else
                // A cycle that a busy machine cost the server takes away, and never adds.
                EXPECT_NEAR(20 * std::log10(found[i].back() / expected->second), 0,
                            toleranceDecibels)
                    << allTones[i] << " Hz after change " << index;
        }
    }
    std::string log() { return tapwell().standardError().text(); }
    std::size_t countLogged(const std::string& text) {
        const std::string all = log();
        std::size_t count = 0;
        for (std::size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + 1))
            ++count;
        return count;
    }

    DecodedAudio recording_;

private:
    double toneSeconds_ = 20;
    Clock::time_point begin_;
    std::vector<double> marks_;  ///< seconds of the recording
};

TEST_F(DeviceChangeTest, FollowsSwitchedDefaults) {
    launchWithTones();
    ASSERT_NO_FATAL_FAILURE(startRecording());
    passGrace();
    audio().setDefaultSink("out-b");
    passChange();
    audio().setDefaultSource("mic-b");
    passChange();
    audio().setDefaultSource("mic-a");
    audio().setDefaultSink("out-a");
    passChange();
    ASSERT_NO_FATAL_FAILURE(finishRecording());
    expectTones(0, {{speakerB, speakerLevel}, {microphoneA, microphoneLevel}});
    expectTones(1, {{speakerB, speakerLevel}, {microphoneB, microphoneLevel}});
    expectTones(2, {{speakerA, speakerLevel}, {microphoneA, microphoneLevel}});
    EXPECT_EQ(countLogged("system tap rebuilt for new default output device"), 2U);
    EXPECT_EQ(countLogged("started halIn="), 3U);
}

TEST_F(DeviceChangeTest, FollowsWhenDevicesAreDestroyedAndComeBack) {
    launchWithTones();
    ASSERT_NO_FATAL_FAILURE(startRecording());
    passGrace();
    audio().destroyNode("out-a");
    passChange();
    audio().destroyNode("mic-a");
    passChange();
    audio().destroyNode("mic-b");
    passChange();
    audio().createNode("mic-c", monoMicrophone);
    playTone("mic-c", microphoneA, microphonePeak);
    passChange();
    // The stop comes as the tap is being rebuilt.
    audio().createNode("out-c", "media.class=Audio/Sink audio.position=[FL FR]");
    audio().setDefaultSink("out-c");
    letPass(405ms);
    ASSERT_NO_FATAL_FAILURE(finishRecording());
    expectTones(0, {{speakerB, speakerLevel}, {microphoneA, microphoneLevel}});
    expectTones(1, {{speakerB, speakerLevel}, {microphoneB, microphoneLevel}});
    // With no microphone left the server names a sink as the default source; it must not be taken.
    expectTones(2, {{speakerB, speakerLevel}});
    expectTones(3, {{speakerB, speakerLevel}, {microphoneA, microphoneLevel}});
}

/// What a headset does that changes from music to a call: its node is replaced by another one.
TEST_F(DeviceChangeTest, FollowsASinkThatBecomesMonoAndSlowAndAForcedRateOfTheGraph) {
    launchWithTones();
    ASSERT_NO_FATAL_FAILURE(startRecording());
    passGrace();
    audio().setDefaultSink("out-a");
    audio().destroyNode("out-a");
    audio().createNode("out-a",
                       "media.class=Audio/Sink audio.position=[MONO] audio.rate=16000 "
                       "priority.session=1010");
    audio().awaitDefaultSink("out-a");
    playTone("out-a", speakerA, speakerPeak);
    passChange();
    audio().forceRate(44100);
    passChange();
    audio().forceRate(48000);
    passChange();
    ASSERT_NO_FATAL_FAILURE(finishRecording());
    for (std::size_t change = 0; change < 3; ++change)
        expectTones(change, {{speakerA, speakerLevel}, {microphoneA, microphoneLevel}});
}

TEST_F(DeviceChangeTest, GoesOnWhenTheServerIsKilledAndRestarted) {
    launchWithTones();
    ASSERT_NO_FATAL_FAILURE(startRecording());
    passChange();
    audio().killServer();
    letPass(2200ms);
    audio().startServer();
    playTones();
    letPass(500ms);
    passChange();
    ASSERT_NO_FATAL_FAILURE(finishRecording());
    expectTones(0, {{speakerA, speakerLevel}, {microphoneA, microphoneLevel}});
    expectTones(1, {{speakerA, speakerLevel}, {microphoneA, microphoneLevel}});
    EXPECT_EQ(countLogged("no audio from the microphone for"), 1U);
    EXPECT_EQ(countLogged("no audio from the system output for"), 1U);
}

TEST_F(DeviceChangeTest, NoticesAStreamThatDeliversNothingAndAServerThatStalls) {
    launchWithTones();
    ASSERT_NO_FATAL_FAILURE(startRecording());
    passChange();
    audio().unlinkRecorderFrom("mic-a");
    letPass(1500ms);
    passChange();
    audio().linkRecorderTo("mic-a");
    passChange();
    kill(audio().daemonPid(), SIGSTOP);
    letPass(1s);
    kill(audio().daemonPid(), SIGCONT);
    passChange();
    // The server may hand over what piled up, one stream after the other, which then waits.
    ASSERT_NO_FATAL_FAILURE(finishRecording(1.0));
    expectTones(0, {{speakerA, speakerLevel}, {microphoneA, microphoneLevel}});
    expectTones(1, {{speakerA, speakerLevel}});
    expectTones(2, {{speakerA, speakerLevel}, {microphoneA, microphoneLevel}});
    expectTones(3, {{speakerA, speakerLevel}, {microphoneA, microphoneLevel}});
    EXPECT_EQ(countLogged("no audio from the microphone for"), 1U);
    EXPECT_EQ(countLogged("audio from the microphone is back after"), 1U);
}

TEST_F(DeviceChangeTest, GivesABluetoothRouteTheRateOfItsProfile) {
    for (const int rateHz : {8000, 16000, 24000}) {
        const std::string headset = "headset-" + std::to_string(rateHz);
        launch();
        audio().createNode(
            headset,
            "media.class=Audio/Sink audio.position=[MONO] audio.rate=" + std::to_string(rateHz) +
                " device.api=bluez5 device.bus=bluetooth "
                "api.bluez5.profile=headset-head-unit priority.session=500");
        audio().setDefaultSink(headset);
        audio().awaitDefaultSink(headset);
        playTone(headset, speakerA, speakerPeak);
        const auto path = file(headset + ".m4a");
        ASSERT_NO_FATAL_FAILURE(record(path, 700ms));
        const DecodedAudio audio = decoded(path);
        EXPECT_EQ(audio.sampleRate, rateHz);
        EXPECT_THAT(log(), HasSubstr("session mix bus=" + std::to_string(rateHz) + ".0 Hz"));
        const std::array<double, 1> frequency{speakerA};
        const auto rate = static_cast<std::size_t>(rateHz);
        ASSERT_GT(audio.samples.size(), rate / 2);
        const MultiToneFit fit = MultiToneFit::of(
            std::span(audio.samples).subspan(rate / 5, rate / 5), rateHz, frequency);
        EXPECT_NEAR(20 * std::log10(fit.amplitudes[0] / speakerLevel), 0, 1.0);
    }
}

/// A minute of it; a sanitizer, whose runs take their time, gets a tenth.
TEST_F(DeviceChangeTest, SurvivesAStormOfSwitches) {
    constexpr int switches = TAPWELL_SANITIZED ? 20 : 200;
    constexpr auto interval = 300ms;
    constexpr std::size_t allowedGrowthBytes = 4 << 20;
    launchWithTones(80);
    ASSERT_NO_FATAL_FAILURE(startRecording());
    passGrace();
    // Once there and back, so that what the first change needs for good is there.
    for (const char* side : {"b", "a"}) {
        audio().setDefaultSink(std::string("out-") + side);
        audio().setDefaultSource(std::string("mic-") + side);
        letPass(3s);
    }
    const std::size_t descriptors = tapwell().openDescriptorCount();
    const std::size_t threads = tapwell().threadCount();
    const std::size_t residentBytes = tapwell().residentBytes();
    const std::size_t serverObjects = audio().objectCount();
    const std::size_t logBytes = log().size();

    std::mt19937 generator(4);
    std::uniform_real_distribution<double> share(0, 2);
    std::bernoulli_distribution coin;
    auto next = Clock::now();
    for (int index = 0; index < switches; ++index) {
        audio().setDefaultSink(coin(generator) ? "out-a" : "out-b");
        audio().setDefaultSource(coin(generator) ? "mic-a" : "mic-b");
        next += std::chrono::duration_cast<Clock::duration>(share(generator) * interval);
        std::this_thread::sleep_until(next);
    }
    audio().setDefaultSink("out-b");
    audio().setDefaultSource("mic-b");
    letPass(2500ms);
    passChange();
    audio().setDefaultSink("out-a");
    audio().setDefaultSource("mic-a");
    letPass(1s);
    passChange();

    EXPECT_EQ(tapwell().openDescriptorCount(), descriptors);
    EXPECT_EQ(tapwell().threadCount(), threads);
    EXPECT_EQ(audio().objectCount(), serverObjects) << "streams, nodes and links";
    if (!TAPWELL_SANITIZED) {
        EXPECT_LT(tapwell().residentBytes(), residentBytes + allowedGrowthBytes);
    }
    const std::size_t loggedBytes = log().size() - logBytes;
    std::cout << countLogged("system tap rebuilt") << " rebuilds, " << countLogged("started halIn=")
              << " microphone starts, " << loggedBytes << " bytes logged; " << descriptors
              << " descriptors, " << threads << " threads, " << residentBytes / 1024
              << " KiB, then " << tapwell().residentBytes() / 1024 << " KiB\n";
    // Some lines a switch, none for each buffer.
    EXPECT_LT(loggedBytes, std::size_t{2000} * (switches + 10));
    ASSERT_NO_FATAL_FAILURE(finishRecording());
    expectTones(0, {{speakerB, speakerLevel}, {microphoneB, microphoneLevel}});
    expectTones(1, {{speakerA, speakerLevel}, {microphoneA, microphoneLevel}});
}

}  // namespace
}  // namespace tapwell::test
