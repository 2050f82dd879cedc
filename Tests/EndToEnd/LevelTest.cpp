#include "EndToEnd/ClockedSound.h"
#include "EndToEnd/RecordingTest.h"
#include "Support/MultiToneFit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <span>
#include <vector>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr double toleranceDecibels = 0.3;
/// The coder keeps one steady tone, with nothing beside it, to about 0.4 dB, by where its periods
/// fall in the coder's frames. What goes into it is exact.
constexpr double loneToneDecibels = 0.6;
constexpr double mixDecibels = 0.02;

double decibels(double ratio) {
    return 20 * std::log10(ratio);
}

/// The recording without its ends, where sources come and go.
std::span<const float> middle(const DecodedAudio& audio) {
    const std::size_t margin = static_cast<std::size_t>(audio.sampleRate) / 2;
    return std::span(audio.samples).subspan(margin, audio.samples.size() - 2 * margin);
}

/// The amplitudes of tones in the recording: of each the median over short windows, so that a cycle
/// that a busy machine cost the server, a jump of phase, does not pass for a change of level.
std::vector<double> amplitudes(const DecodedAudio& audio, std::span<const double> frequenciesHz) {
    const std::size_t windowSize = static_cast<std::size_t>(audio.sampleRate) / 20;
    const std::span<const float> samples = middle(audio);
    std::vector<std::vector<double>> found(frequenciesHz.size());
    for (std::size_t first = 0; first + windowSize <= samples.size(); first += windowSize) {
        const MultiToneFit fit =
            MultiToneFit::of(samples.subspan(first, windowSize), audio.sampleRate, frequenciesHz);
        for (std::size_t tone = 0; tone < found.size(); ++tone) {
            found[tone].push_back(fit.amplitudes[tone]);
        }
    }
    std::vector<double> medians;
    for (std::vector<double>& values : found) {
        std::sort(values.begin(), values.end());
        medians.push_back(values.at(values.size() / 2));
    }
    return medians;
}

class LevelTest : public RecordingTest {
protected:
    /// The mix that went into the coder.
    DecodedAudio mix() const { return decoded(file("upload_audio_debug.wav")); }
    void playTones(double speakerPeak, double microphonePeak) {
        audio().play({tone(1000, speakerPeak, 12, 48000), tone(440, microphonePeak, 12, 48000)});
    }
};

TEST_F(LevelTest, MixesHalfTheSpeakerWithThreeTimesTheMicrophone) {
    launch();
    playTones(0.5, 0.05);
    record(file(), 5s);
    const DecodedAudio audio = decoded(file());
    ASSERT_GT(audio.decodedSeconds(), 4.8);

    const std::array<double, 2> frequencies{1000, 440};
    const std::vector<double> found = amplitudes(audio, frequencies);
    EXPECT_NEAR(decibels(found[0] / 0.25), 0, toleranceDecibels);
    EXPECT_NEAR(decibels(found[1] / 0.15), 0, toleranceDecibels);
}

TEST_F(LevelTest, LimitsTheMicrophoneToHalfOfFullScale) {
    launch();
    playTones(0, 0.5);
    record(file(), 2s);
    const DecodedAudio audio = decoded(file());
    ASSERT_GT(audio.decodedSeconds(), 1.8);

    // Three times 0.5 is clipped to a wave that is nearly square, between -0.5 and 0.5. The codec
    // does not keep a square's corners, so what is measured is the fundamental: a sine of 3.0
    // clipped at 1.0 has one of 2/pi * (3 asin(1/3) + sqrt(1 - 1/9)).
    const double clippedFundamental =
        2 / std::numbers::pi * (3 * std::asin(1.0 / 3) + std::sqrt(1 - 1.0 / 9));
    const std::array<double, 1> frequencies{440};
    const std::vector<double> found = amplitudes(audio, frequencies);
    EXPECT_NEAR(decibels(found[0] / (0.5 * clippedFundamental)), 0, toleranceDecibels);
    EXPECT_LT(std::abs(*std::max_element(
                  middle(audio).begin(), middle(audio).end(),
                  [](float left, float right) { return std::abs(left) < std::abs(right); })),
              0.5 * 1.12);
}

TEST_F(LevelTest, PassesTheSpeakerAloneAtFullGainWhileTheMicrophoneDeliversNothing) {
    launch({}, 48000, {{"TL_RECORDER_DEBUG_WAV", "1"}});
    // Whole periods, so that the tones go on where they are repeated.
    const ClockedSound sound(audio(), {tone(1000, 0.5, 1, 48000), tone(440, 0.05, 1, 48000)});
    audio().awaitDefaultMicrophone(ClockedSound::microphoneName);
    record(file(), 3s);
    const DecodedAudio audio = decoded(file());
    ASSERT_GT(audio.decodedSeconds(), 2.5);

    const std::array<double, 2> frequencies{1000, 440};
    const std::vector<double> found = amplitudes(audio, frequencies);
    EXPECT_NEAR(decibels(found[0] / 0.5), 0, loneToneDecibels);
    EXPECT_LT(found[1], 0.001);
    EXPECT_NEAR(decibels(amplitudes(mix(), frequencies)[0] / 0.5), 0, mixDecibels);
}

TEST_F(LevelTest, RecordsTheMicrophoneWhileNothingIsPlayed) {
    launch({}, 48000, {{"TL_RECORDER_DEBUG_WAV", "1"}});
    playTones(0, 0.05);
    record(file(), 2s);
    const DecodedAudio audio = decoded(file());
    ASSERT_GT(audio.decodedSeconds(), 1.8);

    const std::array<double, 1> frequencies{440};
    const std::vector<double> found = amplitudes(audio, frequencies);
    EXPECT_NEAR(decibels(found[0] / 0.15), 0, loneToneDecibels);
    EXPECT_NEAR(decibels(amplitudes(mix(), frequencies)[0] / 0.15), 0, mixDecibels);
}

}  // namespace
}  // namespace tapwell::test
