#include "EndToEnd/RecordingTest.h"
#include "Support/MultiToneFit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <span>
#include <thread>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

/// Both sides of an interleaved stereo signal, as far as it goes.
struct Sides {
    std::vector<float> left;
    std::vector<float> right;
};

/// What a parent makes of the standard output of a streaming recording: event lines, and the PCM of
/// the frames between them.
struct Stream {
    std::vector<nlohmann::json> events;
    Sides pcm;
    /// Bytes at the end that are no whole line and no whole frame.
    std::size_t rest = 0;

    static Stream of(const std::string& output) {
        constexpr std::size_t headerSize = 8;
        Stream stream;
        std::size_t at = 0;
        while (at < output.size()) {
            if (output[at] == '{') {
                const std::size_t end = output.find('\n', at);
                if (end == std::string::npos) break;
                stream.events.push_back(nlohmann::json::parse(output.substr(at, end - at)));
                at = end + 1;
                continue;
            }
            if (output.size() - at < headerSize) break;
            EXPECT_EQ(output.compare(at, 4, "TLPC"), 0) << "neither line nor frame at " << at;
            std::uint32_t length = 0;
            std::memcpy(&length, output.data() + at + 4, sizeof length);
            if (output.size() - at - headerSize < length) break;
            stream.take(std::span(output).subspan(at + headerSize, length));
            at += headerSize + length;
        }
        stream.rest = output.size() - at;
        return stream;
    }

private:
    void take(std::span<const char> payload) {
        for (std::size_t at = 0; at + 4 <= payload.size(); at += 4) {
            std::array<std::int16_t, 2> pair{};
            std::memcpy(pair.data(), payload.data() + at, sizeof pair);
            pcm.left.push_back(static_cast<float>(pair[0]) / 32767);
            pcm.right.push_back(static_cast<float>(pair[1]) / 32767);
        }
    }
};

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
    static void expectSides(const Sides& sides) {
        constexpr std::size_t margin = 24000;
        ASSERT_GT(sides.left.size(), 3 * margin);
        const std::array<double, 2> frequencies{440, 1000};
        const auto middle = [](const std::vector<float>& side) {
            return std::span(side).subspan(margin, side.size() - 2 * margin);
        };
        const MultiToneFit left = MultiToneFit::of(middle(sides.left), 48000, frequencies);
        const MultiToneFit right = MultiToneFit::of(middle(sides.right), 48000, frequencies);
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
    Sides sides;
    for (std::size_t at = 0; at + 1 < audio.samples.size(); at += 2) {
        sides.left.push_back(audio.samples[at]);
        sides.right.push_back(audio.samples[at + 1]);
    }
    expectSides(sides);
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

    const Stream stream = Stream::of(tapwell().standardOutput().text());
    EXPECT_EQ(stream.rest, 0U);
    ASSERT_EQ(stream.events.size(), statusCount + 2);
    EXPECT_EQ(stream.events.front()["event"], "started");
    EXPECT_EQ(stream.events[1]["state"], "recording");
    EXPECT_EQ(stream.events.back()["event"], "finalized");
    expectSides(stream.pcm);
    EXPECT_FALSE(std::filesystem::exists(file())) << "this mode makes no file";

    std::ofstream(file("output"), std::ios::binary) << tapwell().standardOutput().text();
    std::string expected = "started\n";
    for (std::size_t index = 0; index < statusCount; ++index)
        expected += "status\n";
    expected += "finalized\n" + std::to_string(4 * stream.pcm.left.size()) + " bytes\n";
    EXPECT_EQ(readAsDocumented(file("output")), expected);
}

}  // namespace
}  // namespace tapwell::test
