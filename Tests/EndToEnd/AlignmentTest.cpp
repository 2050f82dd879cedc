#include "EndToEnd/RecordingTest.h"
#include "Support/ToneBurst.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <span>
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
std::vector<double> lags(std::span<const float> speakerSamples,
                         std::span<const float> microphoneSamples, int sampleRate) {
    const std::vector<double> speaker = speakerBurst.find(speakerSamples, sampleRate);
    const std::vector<double> microphone = microphoneBurst.find(microphoneSamples, sampleRate);
    const double end = static_cast<double>(microphoneSamples.size()) / sampleRate;
    const double margin = 0.06;
    std::vector<double> result;
    for (const double time : microphone) {
        if (time < margin || time > end - margin || speaker.empty()) continue;
        const double nearest =
            *std::min_element(speaker.begin(), speaker.end(), [&](double left, double right) {
                return std::abs(left - time) < std::abs(right - time);
            });
        result.push_back(time - nearest);
    }
    return result;
}

std::vector<double> lags(const DecodedAudio& audio) {
    return lags(audio.samples, audio.samples, audio.sampleRate);
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
        audio().startReference();
    }

    /// The lag that the server itself has between the two devices, by a cycle or none.
    double referenceLag() {
        const TwoSidedSound heard = audio().stopReference();
        const std::vector<double> found =
            lags(heard.speaker, heard.microphone, audio().sampleRate());
        if (found.empty()) {
            ADD_FAILURE() << "the reference heard nothing";
            return 0;
        }
        // On a busy machine the reference itself may lose a cycle.
        std::vector<double> sorted = found;
        std::sort(sorted.begin(), sorted.end());
        const double median = sorted[sorted.size() / 2];
        const auto agreeing = std::count_if(found.begin(), found.end(), [&](double lag) {
            return std::abs(lag - median) < 0.0001;
        });
        EXPECT_GE(static_cast<double>(agreeing), 0.8 * static_cast<double>(found.size()));
        return median;
    }

    /// One process, so many short recordings: in each the bursts are as far apart as they were.
    void expectAlignedIn(int starts) {
        std::vector<std::vector<double>> found;
        for (int index = 0; index < starts; ++index) {
            const auto path = file(std::to_string(index) + ".m4a");
            ASSERT_NO_FATAL_FAILURE(record(path, 700ms));
            found.push_back(lags(decoded(path)));
            EXPECT_GE(found.back().size(), 2U) << "start " << index;
        }
        const double truth = referenceLag();
        double worst = 0;
        for (std::size_t index = 0; index < found.size(); ++index) {
            const double distance = largestDistance(found[index], truth);
            EXPECT_LT(distance, toleranceSeconds) << "start " << index;
            worst = std::max(worst, distance);
        }
        std::cout << "true lag " << truth * 1000 << " ms, worst error " << worst * 1000 << " ms\n";
    }
};

TEST_F(AlignmentTest, HoldsInTwentyStarts) {
    launchWithBursts(90);
    expectAlignedIn(20);
}

TEST_F(AlignmentTest, HoldsUnderLoad) {
    launchWithBursts(60);
    std::vector<std::unique_ptr<BusyProcess>> hogs;
    for (int index = 0; index < 4; ++index)
        hogs.push_back(std::make_unique<BusyProcess>());
    expectAlignedIn(8);
}

TEST_F(AlignmentTest, HoldsWhenTheMicrophoneStartsLate) {
    launch();
    audio().useHoldableMicrophone();
    audio().play(simultaneousBursts(60, audio().sampleRate()));

    // This microphone is quicker than the speaker's monitor by what the server's graph makes of it;
    // the same devices started together tell how much that is.
    const auto onTime = file("on-time.m4a");
    ASSERT_NO_FATAL_FAILURE(record(onTime, 1200ms));
    const std::vector<double> lagsOnTime = lags(decoded(onTime));
    ASSERT_GE(lagsOnTime.size(), 3U);
    for (const double lag : lagsOnTime)
        EXPECT_NEAR(lag, lagsOnTime[0], toleranceSeconds);
    std::cout << "lag on time " << lagsOnTime[0] * 1000 << " ms\n";

    for (int index = 0; index < 3; ++index) {
        const auto late = file("late" + std::to_string(index) + ".m4a");
        audio().holdMicrophone();
        ASSERT_NO_FATAL_FAILURE(start(late));
        letPass(200ms);
        audio().releaseMicrophone();
        letPass(1000ms);
        ASSERT_NO_FATAL_FAILURE(stop(late));
        const std::vector<double> lagsLate = lags(decoded(late));
        EXPECT_GE(lagsLate.size(), 3U);
        EXPECT_LT(largestDistance(lagsLate, lagsOnTime[0]), toleranceSeconds)
            << "late start " << index;
    }
}

}  // namespace
}  // namespace tapwell::test
