#include "EndToEnd/ClockedSound.h"
#include "EndToEnd/RecordingTest.h"
#include "Support/ToneBurst.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr ToneBurst speakerBurst{3000};
constexpr ToneBurst microphoneBurst{6000};
constexpr double toleranceSeconds = 0.001;

/// Bursts in speaker and microphone at the same moments. Their intervals differ, so that a shift by
/// a whole interval shows as well.
TwoSidedSound simultaneousBursts(double seconds, int sampleRate) {
    TwoSidedSound sound{silence(seconds, sampleRate), silence(seconds, sampleRate)};
    std::mt19937 generator(1);
    std::uniform_real_distribution<double> interval(0.12, 0.22);
    for (double time = 0.05; time < seconds - 0.05; time += interval(generator)) {
        speakerBurst.addTo(sound.speaker, sampleRate, time, 0.5);
        microphoneBurst.addTo(sound.microphone, sampleRate, time, 0.1);
    }
    return sound;
}

/// How much later than the speaker's each burst of the microphone is. Those at the very ends, which
/// may be cut, do not count.
std::vector<double> lags(const DecodedAudio& audio) {
    const std::vector<double> speaker = speakerBurst.find(audio.samples, audio.sampleRate);
    const std::vector<double> microphone = microphoneBurst.find(audio.samples, audio.sampleRate);
    const double margin = 0.06;
    std::vector<double> result;
    for (const double time : microphone) {
        if (time < margin || time > audio.decodedSeconds() - margin || speaker.empty()) continue;
        const double nearest =
            *std::min_element(speaker.begin(), speaker.end(), [&](double left, double right) {
                return std::abs(left - time) < std::abs(right - time);
            });
        result.push_back(time - nearest);
    }
    return result;
}

double largestDistance(const std::vector<double>& values, double from) {
    double largest = 0;
    for (const double value : values)
        largest = std::max(largest, std::abs(value - from));
    return largest;
}

/// Keeps a processor busy until it goes.
class BusyProcess : public ChildProcess {
public:
    BusyProcess() : ChildProcess({"sh", "-c", "while :; do :; done"}) {}
};

class AlignmentTest : public RecordingTest {
protected:
    void launchWithBursts(double seconds) {
        launch();
        audio().play(simultaneousBursts(seconds, audio().sampleRate()));
    }

    /// One process, so many short recordings: in each the bursts are together.
    void expectTogetherIn(int starts) {
        double worst = 0;
        for (int index = 0; index < starts; ++index) {
            const auto path = file(std::to_string(index) + ".m4a");
            ASSERT_NO_FATAL_FAILURE(record(path, 700ms));
            const std::vector<double> found = lags(decoded(path));
            EXPECT_GE(found.size(), 2U) << "start " << index;
            EXPECT_LT(largestDistance(found, 0), toleranceSeconds) << "start " << index;
            worst = std::max(worst, largestDistance(found, 0));
        }
        std::cout << "worst lag " << worst * 1000 << " ms\n";
    }
};

TEST_F(AlignmentTest, HoldsInTwentyStarts) {
    launchWithBursts(90);
    expectTogetherIn(20);
}

TEST_F(AlignmentTest, HoldsUnderLoad) {
    launchWithBursts(60);
    std::vector<std::unique_ptr<BusyProcess>> hogs;
    for (int index = 0; index < 4; ++index)
        hogs.push_back(std::make_unique<BusyProcess>());
    expectTogetherIn(8);
}

TEST_F(AlignmentTest, HoldsWhenTheMicrophoneStartsLate) {
    launch();
    ClockedSound sound(audio(), simultaneousBursts(20, audio().sampleRate()));
    audio().awaitDefaultMicrophone(ClockedSound::microphoneName);
    double worst = 0;
    for (int index = 0; index < 5; ++index) {
        const auto path = file(std::to_string(index) + ".m4a");
        tapwell().sendStart(path);
        letPass(200ms);
        sound.setMicrophoneDelivers(true);
        EXPECT_EQ(tapwell().nextEvent().value("event", ""), "started");
        letPass(800ms);
        ASSERT_NO_FATAL_FAILURE(stop(path));
        sound.setMicrophoneDelivers(false);
        const std::vector<double> found = lags(decoded(path));
        EXPECT_GE(found.size(), 2U) << "start " << index;
        EXPECT_LT(largestDistance(found, 0), toleranceSeconds) << "start " << index;
        worst = std::max(worst, largestDistance(found, 0));
    }
    std::cout << "worst lag " << worst * 1000 << " ms\n";
}

/// Every device hears the same bursts at the same moments; a change takes some of them away.
TEST_F(AlignmentTest, HoldsAcrossChangesOfDevices) {
    constexpr double changeSeconds = 1.7;
    launchWithBursts(12);
    audio().playAlsoInto("out-b", "mic-b");
    ASSERT_NO_FATAL_FAILURE(start(file()));
    letPass(2600ms);
    audio().setDefaultSink("out-b");
    letPass(1700ms);
    audio().setDefaultSource("mic-b");
    letPass(1700ms);
    audio().setDefaultSource("mic-a");
    audio().setDefaultSink("out-a");
    letPass(1700ms);
    ASSERT_NO_FATAL_FAILURE(stop(file()));
    const DecodedAudio recording = decoded(file());
    EXPECT_NEAR(recording.decodedSeconds(), 7.7, 0.4);

    const std::vector<double> speaker = speakerBurst.find(recording.samples, recording.sampleRate);
    const std::vector<double> microphone =
        microphoneBurst.find(recording.samples, recording.sampleRate);
    std::vector<int> pairs(4);  // before the first change, and after each
    double worst = 0;
    for (const double time : microphone) {
        for (const double partner : speaker) {
            constexpr double nextBurst = 0.06;
            if (std::abs(time - partner) > nextBurst) continue;
            worst = std::max(worst, std::abs(time - partner));
            const double changes = std::ceil((time - 2.6) / changeSeconds);
            ++pairs.at(static_cast<std::size_t>(std::clamp(changes, 0.0, 3.0)));
        }
    }
    EXPECT_LT(worst, toleranceSeconds);
    EXPECT_GE(pairs[0], 10);
    for (const std::size_t change : {1U, 2U, 3U})
        EXPECT_GE(pairs[change], 4) << "change " << change;
    std::cout << "worst lag " << worst * 1000 << " ms in "
              << pairs[0] + pairs[1] + pairs[2] + pairs[3] << " pairs\n";
}

}  // namespace
}  // namespace tapwell::test
