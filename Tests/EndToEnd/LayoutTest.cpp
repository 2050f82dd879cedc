#include "EndToEnd/RecordingTest.h"
#include "Support/FramedStream.h"
#include "Support/MultiToneFit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

/// The reader that the documentation gives to those who write a parent, and what it makes of a
/// file with everything that a recording wrote to standard output: one line for each event, and the
/// number of PCM bytes.
std::string readAsDocumented(const std::filesystem::path& output) {
    std::ifstream documentation(TAPWELL_PROTOCOL);
    std::string program;
    bool isReader = false;
    for (std::string line; std::getline(documentation, line);) {
        if (line == "    import json") isReader = true;
        if (isReader && !line.empty() && !line.starts_with("    ")) break;
        if (isReader) program += line.substr(std::min<std::size_t>(line.size(), 4)) + "\n";
    }
    program +=
        "import sys\n"
        "pcm = []\n"
        "with open(sys.argv[1], 'rb') as stream:\n"
        "    read_stream(stream, lambda e: print(e['event']), lambda p: pcm.append(len(p)))\n"
        "print(sum(pcm), 'bytes')\n";
    return ChildProcess::run({"python3", "-c", program, output.string()}).standardOutput;
}

class LayoutTest : public RecordingTest {
protected:
    void playTones() { audio().play({tone(1000, 0.5, 12, 48000), tone(440, 0.05, 12, 48000)}); }

    /// Left is the microphone, six times as loud; right is the speaker at its own level.
    static void expectSides(const std::vector<float>& leftSide,
                            const std::vector<float>& rightSide) {
        constexpr std::size_t margin = 24000;
        ASSERT_GT(leftSide.size(), 3 * margin);
        const std::array<double, 2> frequencies{440, 1000};
        const auto middle = [](const std::vector<float>& side) {
            return std::span(side).subspan(margin, side.size() - 2 * margin);
        };
        const MultiToneFit left = MultiToneFit::of(middle(leftSide), 48000, frequencies);
        const MultiToneFit right = MultiToneFit::of(middle(rightSide), 48000, frequencies);
        EXPECT_NEAR(20 * std::log10(left.amplitudes[0] / 0.3), 0, 0.3);
        EXPECT_NEAR(20 * std::log10(right.amplitudes[1] / 0.5), 0, 0.3);
        EXPECT_LT(left.amplitudes[1], 0.01) << "the speaker on the microphone's side";
        EXPECT_LT(right.amplitudes[0], 0.01) << "the microphone on the speaker's side";
    }
};

TEST_F(LayoutTest, StereoKeepsTheSourcesApart) {
    launch({}, 48000, {{"TL_MACOS_UPLOAD_STEREO_LR", "1"}});
    playTones();
    record(file(), 3s);
    const DecodedAudio audio = decoded(file());
    ASSERT_EQ(audio.channelCount, 2);
    std::vector<float> left;
    std::vector<float> right;
    for (std::size_t at = 0; at + 1 < audio.samples.size(); at += 2) {
        left.push_back(audio.samples[at]);
        right.push_back(audio.samples[at + 1]);
    }
    expectSides(left, right);
}

TEST_F(LayoutTest, StreamsWholeFramesBetweenWholeLines) {
    launch({}, 48000, {{"TL_RECORDER_RTMPS_MODE", "1"}, {"TL_MACOS_DUAL_TRACK_RECORDING", "1"}});
    playTones();
    ASSERT_TRUE(tapwell().sendStart(file()));
    constexpr std::size_t statusCount = 50;
    for (std::size_t index = 0; index < statusCount; ++index) {
        letPass(60ms);
        ASSERT_TRUE(tapwell().send({{"cmd", "status"}}));
    }
    ASSERT_TRUE(tapwell().sendStop());
    ASSERT_TRUE(tapwell().standardOutput().waitForText(
        "\"finalized\"", std::chrono::steady_clock::now() + TapwellProcess::patience));
    ASSERT_TRUE(tapwell().endInput().has_value());
    ASSERT_TRUE(tapwell().standardOutput().waitForEnd(std::chrono::steady_clock::now() +
                                                      TapwellProcess::patience));

    const auto stream = FramedStream::of(tapwell().standardOutput().text());
    EXPECT_EQ(stream.rest, 0U);
    std::vector<nlohmann::json> events;
    for (const std::string& line : stream.lines)
        events.push_back(nlohmann::json::parse(line));
    ASSERT_EQ(events.size(), statusCount + 2);
    EXPECT_EQ(events.front()["event"], "started");
    EXPECT_EQ(events[1]["state"], "recording");
    EXPECT_EQ(events.back()["event"], "finalized");
    expectSides(stream.left, stream.right);
    EXPECT_FALSE(std::filesystem::exists(file())) << "this mode makes no file";

    std::ofstream(file("output"), std::ios::binary) << tapwell().standardOutput().text();
    std::string expected = "started\n";
    for (std::size_t index = 0; index < statusCount; ++index)
        expected += "status\n";
    expected += "finalized\n" + std::to_string(4 * stream.left.size()) + " bytes\n";
    EXPECT_EQ(readAsDocumented(file("output")), expected);
}

}  // namespace
}  // namespace tapwell::test
