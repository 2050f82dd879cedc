#include "EndToEnd/RecordingTest.h"
#include "Support/MultiToneFit.h"
#include "Support/ToneBurst.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <span>
#include <sstream>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr double speakerHz = 1000;
constexpr double microphoneHz = 440;

/// Amplitudes of the speaker's and the microphone's tone in the middle of a recording.
std::array<double, 2> amplitudes(std::span<const float> samples) {
    constexpr std::size_t margin = 24000;
    const std::array<double, 2> frequencies{speakerHz, microphoneHz};
    const MultiToneFit fit =
        MultiToneFit::of(samples.subspan(margin, samples.size() - 2 * margin), 48000, frequencies);
    return {fit.amplitudes[0], fit.amplitudes[1]};
}

double decibels(double ratio) {
    return 20 * std::log10(ratio);
}

/// What a stock tool reports of a file: `frames rate channels bits`.
std::string soxReport(const std::filesystem::path& path) {
    std::ostringstream report;
    for (const char* option : {"-s", "-r", "-c", "-b"}) {
        std::string text = ChildProcess::run({"soxi", option, path.string()}).standardOutput;
        text.erase(text.find_last_not_of('\n') + 1);
        report << text << ' ';
    }
    return report.str();
}

class DualTrackTest : public RecordingTest {
protected:
    using Switches = TapwellProcess::Environment;

    void launchInTwoTracks(Switches switches = {}) {
        switches["TL_MACOS_DUAL_TRACK_RECORDING"] = "1";
        launch({}, 48000, switches);
    }
    void playTones() {
        audio().play({tone(speakerHz, 0.5, 14, 48000), tone(microphoneHz, 0.3, 14, 48000)});
    }
    std::filesystem::path systemWav() const { return file(".capture_system.wav"); }
    std::filesystem::path micWav() const { return file(".capture_mic.wav"); }
    bool hasCaptureFiles() const {
        return std::filesystem::exists(systemWav()) || std::filesystem::exists(micWav());
    }
};

TEST_F(DualTrackTest, MergesToAMonoMix) {
    launchInTwoTracks();
    playTones();
    record(file(), 2500ms);
    const DecodedAudio recording = decoded(file());
    ASSERT_EQ(recording.channelCount, 1);
    EXPECT_NEAR(recording.decodedSeconds(), 2.5, 0.15);
    const auto [speaker, microphone] = amplitudes(recording.samples);
    EXPECT_NEAR(decibels(speaker / 0.25), 0, 0.3);
    EXPECT_NEAR(decibels(microphone / 0.15), 0, 0.3);
    EXPECT_FALSE(hasCaptureFiles());
}

TEST_F(DualTrackTest, MergesToStereoAndKeepsTheTracksOnRequest) {
    launchInTwoTracks(
        {{"TL_MACOS_UPLOAD_STEREO_LR", "1"}, {"TL_MACOS_DUAL_TRACK_KEEP_CAPTURE_WAV", "1"}});
    playTones();
    record(file(), 2500ms);
    const DecodedAudio recording = decoded(file());
    ASSERT_EQ(recording.channelCount, 2);
    std::vector<float> left;
    std::vector<float> right;
    for (std::size_t at = 0; at + 1 < recording.samples.size(); at += 2) {
        left.push_back(recording.samples[at]);
        right.push_back(recording.samples[at + 1]);
    }
    EXPECT_NEAR(decibels(amplitudes(right)[0] / 0.5), 0, 0.3);
    EXPECT_LT(amplitudes(right)[1], 0.01);
    EXPECT_NEAR(decibels(amplitudes(left)[1] / 0.3), 0, 0.3);
    EXPECT_LT(amplitudes(left)[0], 0.01);

    const DecodedAudio systemTrack = decoded(systemWav());
    const DecodedAudio micTrack = decoded(micWav());
    EXPECT_EQ(systemTrack.codec, "pcm_s16le");
    EXPECT_NEAR(decibels(amplitudes(systemTrack.samples)[0] / 0.5), 0, 0.1);
    EXPECT_NEAR(decibels(amplitudes(micTrack.samples)[1] / 0.3), 0, 0.1);
    EXPECT_EQ(std::filesystem::status(micWav()).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(DualTrackTest, KeepsTheSourcesTogether) {
    launchInTwoTracks();
    constexpr ToneBurst speakerBurst{3000};
    constexpr ToneBurst microphoneBurst{6000};
    TwoSidedSound sound{silence(10, 48000), silence(10, 48000)};
    for (double time = 0.1; time < 9.9; time += 0.17) {
        speakerBurst.addTo(sound.speaker, 48000, time, 0.5);
        microphoneBurst.addTo(sound.microphone, 48000, time, 0.5);
    }
    audio().play(sound);
    record(file(), 2500ms);
    const DecodedAudio recording = decoded(file());
    const std::vector<double> speaker = speakerBurst.find(recording.samples, 48000);
    const std::vector<double> microphone = microphoneBurst.find(recording.samples, 48000);
    ASSERT_GE(speaker.size(), 12U);
    double worst = 0;
    for (const double time : microphone) {
        if (time < 0.2 || time > recording.decodedSeconds() - 0.2) continue;
        const auto nearest = std::ranges::min_element(
            speaker, {}, [time](double other) { return std::abs(other - time); });
        worst = std::max(worst, std::abs(*nearest - time));
    }
    std::cout << "worst lag " << worst * 1000 << " ms\n";
    EXPECT_LT(worst, 0.001);
}

TEST_F(DualTrackTest, AKillLeavesTwoTracksThatPlayAndTheNextStartKeepsThem) {
    launchInTwoTracks();
    playTones();
    ASSERT_NO_FATAL_FAILURE(start(file()));
    const auto started = std::chrono::steady_clock::now();
    letPass(2000ms);
    const double captured =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    tapwell().signal(SIGKILL);
    ASSERT_TRUE(tapwell().waitForEnd().has_value());
    for (const auto& path : {systemWav(), micWav()}) {
        const DecodedAudio track = decoded(path);
        const auto frames = track.samples.size();
        EXPECT_GT(static_cast<double>(frames), (captured - 0.1) * 48000) << path;
        EXPECT_EQ(soxReport(path), std::to_string(frames) + " 48000 1 16 ");
        // The header may be one write behind; it never promises what is not there.
        const auto size = std::filesystem::file_size(path);
        EXPECT_GE(size, 44 + 2 * frames);
        EXPECT_LT(size, 44 + 2 * (frames + 4800));
        ASSERT_TRUE(track.containerSeconds);
        EXPECT_NEAR(*track.containerSeconds, static_cast<double>(frames) / 48000, 0.001);
    }

    const auto size = std::filesystem::file_size(micWav());
    TapwellProcess::Environment environment = audio().environment();
    environment["TL_MACOS_DUAL_TRACK_RECORDING"] = "1";
    launchWithoutServer(environment);  // on the same server
    record(file(), 1000ms);
    EXPECT_FALSE(hasCaptureFiles());
    EXPECT_EQ(std::filesystem::file_size(file(".capture_mic.left-over-1.wav")), size);
    EXPECT_TRUE(std::filesystem::exists(file(".capture_system.left-over-1.wav")));
    EXPECT_NE(tapwell().standardError().text().find("left over from a recording"),
              std::string::npos);
}

}  // namespace
}  // namespace tapwell::test
