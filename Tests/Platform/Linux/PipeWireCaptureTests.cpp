#include "CaptureRecorder.h"
#include "HardwareReader.h"
#include "Platform/Linux/PipeWireAudioHardware.h"
#include "Support/AudioFeed.h"
#include "Support/PrivateAudioServer.h"
#include "Support/TemporaryDirectory.h"
#include "Support/ToneAnalysis.h"
#include "Support/ToneBurst.h"
#include "Support/WavFile.h"
#include "SystemTap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <span>
#include <thread>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

void ignoreLine(const std::string&) {}

std::vector<float> tone(double frequencyHz, double seconds, double amplitude, double rate) {
    return makeTone(frequencyHz / rate, static_cast<std::size_t>(seconds * rate), amplitude);
}

/// The part of a recording in which a tone of the given amplitude plays, without its first and
/// last 50 ms.
std::span<const float> steadyPart(std::span<const float> samples, double amplitude, double rate) {
    const auto isLoud = [&](float sample) {
        return std::abs(sample) > static_cast<float>(amplitude / 2);
    };
    const auto first = std::find_if(samples.begin(), samples.end(), isLoud);
    const auto last = std::find_if(samples.rbegin(), samples.rend(), isLoud).base();
    const auto margin = static_cast<std::ptrdiff_t>(rate / 20);
    if (last - first <= 2 * margin) return {};
    return {first + margin, last - margin};
}

void expectTone(const std::vector<float>& recorded, double frequencyHz, double amplitude,
                double rate) {
    const std::span<const float> steady = steadyPart(recorded, amplitude, rate);
    ASSERT_GT(steady.size(), static_cast<std::size_t>(rate / 2));
    const ToneFit fit = fitTone(steady, frequencyHz / rate);
    EXPECT_NEAR(fit.amplitude, amplitude, amplitude * 0.001);
    EXPECT_LT(fit.thdPlusNoiseDb(), -80);
    EXPECT_LT(worstToneBreakDb(steady, frequencyHz / rate), -80);
}

/// Every cycle begins where the one before ended, in host time and in sample time; where cycles
/// were lost, both jump by the same.
void expectSmoothTimes(const std::vector<CaptureRecorder::Cycle>& cycles, double rate) {
    ASSERT_GT(cycles.size(), 10U);
    std::size_t gaps = 0;
    for (std::size_t i = 1; i < cycles.size(); ++i) {
        const AudioTimeStamp& before = cycles[i - 1].inputTime;
        const AudioTimeStamp& after = cycles[i].inputTime;
        ASSERT_TRUE(after.hasHostTime() && after.hasSampleTime());
        const double hostSeconds = static_cast<double>(after.hostTime - before.hostTime) / 1e9;
        const double frames = after.sampleTime - before.sampleTime;
        EXPECT_NEAR(hostSeconds, frames / rate, 20e-6) << "cycle " << i;
        if (frames != static_cast<double>(cycles[i - 1].frames)) ++gaps;
        EXPECT_GE(frames, static_cast<double>(cycles[i - 1].frames));
        EXPECT_LE(after.hostTime, cycles[i].now.hostTime);
        EXPECT_LE(cycles[i].now.hostTime, cycles[i].arrivalNanoseconds);
    }
    EXPECT_LE(gaps, cycles.size() / 20);
}

class PipeWireCapture : public testing::TestWithParam<int> {
protected:
    double rate() const { return GetParam(); }

    TemporaryDirectory directory_;
    const PrivateAudioServer server_{{.sampleRateHz = GetParam()}};
    PipeWireAudioHardware hardware_{ignoreLine};
    HardwareReader reader_{hardware_};
};

TEST_P(PipeWireCapture, RecordsWhatIsPlayed) {
    writeWavFile(directory_ / "tone.wav", GetParam(),
                 {tone(1000, 1.5, 0.5, rate()), tone(2000, 1.5, 0.25, rate())});
    const SystemTap system(hardware_, "out-a");
    const CaptureRecorder recorder(hardware_, system.device());
    ASSERT_TRUE(recorder.waitForFrames(1024));
    AudioFeed::intoSink("out-a", directory_ / "tone.wav").waitForEnd();
    EXPECT_EQ(recorder.channelCount(), 2U);
    expectTone(recorder.channel(0), 1000, 0.5, rate());
    expectTone(recorder.channel(1), 2000, 0.25, rate());
    expectSmoothTimes(recorder.cycles(), rate());
}

TEST_P(PipeWireCapture, RecordsWhatTheMicrophoneHears) {
    writeWavFile(directory_ / "tone.wav", GetParam(), {tone(440, 1.5, 0.5, rate())});
    const CaptureRecorder recorder(hardware_, reader_.defaultSource());
    ASSERT_TRUE(recorder.waitForFrames(1024));
    AudioFeed::intoMicrophone("mic-a", directory_ / "tone.wav").waitForEnd();
    EXPECT_EQ(recorder.channelCount(), 1U);
    expectTone(recorder.channel(0), 440, 0.5, rate());
}

TEST_P(PipeWireCapture, TimesOfAnIdleDeviceAreSmooth) {
    const CaptureRecorder recorder(hardware_, reader_.defaultSource());
    ASSERT_TRUE(recorder.waitForFrames(static_cast<std::size_t>(rate())));
    expectSmoothTimes(recorder.cycles(), rate());
}

/// Clicks that leave one player in the same cycle, one into the sink, one into the microphone,
/// have the same capture time on both ways.
TEST_P(PipeWireCapture, ClicksOfOneMomentHaveOneTime) {
    const ToneBurst burst{2000};
    std::vector<float> clicks(static_cast<std::size_t>(2 * rate()));
    for (const double seconds : {1.0, 1.3, 1.6})
        burst.addTo(clicks, rate(), seconds, 0.5);
    writeWavFile(directory_ / "clicks.wav", GetParam(), {clicks, clicks});

    const SystemTap system(hardware_, "out-a");
    const CaptureRecorder played(hardware_, system.device());
    const CaptureRecorder heard(hardware_, reader_.defaultSource());
    ASSERT_TRUE(played.waitForFrames(1024) && heard.waitForFrames(1024));
    AudioFeed::through({{"output_FL", "out-a:playback_FL"}, {"output_FR", "mic-a:input_MONO"}},
                       directory_ / "clicks.wav")
        .waitForEnd();

    const std::vector<double> inPlayed = burst.find(played.channel(0), rate());
    const std::vector<double> inHeard = burst.find(heard.channel(0), rate());
    ASSERT_EQ(inPlayed.size(), 3U);
    ASSERT_EQ(inHeard.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        const double playedAt = played.hostTimeOfFrame(inPlayed[i] * rate(), rate());
        const double heardAt = heard.hostTimeOfFrame(inHeard[i] * rate(), rate());
        EXPECT_NEAR(playedAt, heardAt, 1e6);
        RecordProperty("difference_ns_" + std::to_string(i), std::to_string(playedAt - heardAt));
    }
}

INSTANTIATE_TEST_SUITE_P(GraphRates, PipeWireCapture, testing::Values(48000, 44100));

TEST(PipeWireCaptureTest, KeepsTheRateItStartedWithWhenTheGraphChanges) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const CaptureRecorder recorder(hardware, reader.defaultSource());
    ASSERT_TRUE(recorder.waitForFrames(10000));
    PrivateAudioServer::run({"pw-metadata", "-n", "settings", "0", "clock.force-rate", "44100"});
    const std::size_t before = recorder.frameCount();
    ASSERT_TRUE(recorder.waitForFrames(before + 48000));
    EXPECT_EQ(reader.number(reader.defaultSource(), kAudioDevicePropertyActualSampleRate), 44100);
    // The resampled stream still counts 48000 frames a second, and its times show no steps.
    const std::vector<CaptureRecorder::Cycle> cycles = recorder.cycles();
    std::vector<CaptureRecorder::Cycle> tail(cycles.end() - 30, cycles.end());
    expectSmoothTimes(tail, 48000);
}

TEST(PipeWireCaptureTest, DropsAndReportsOnceWhatAStalledQueueCannotTake) {
    std::mutex mutex;
    std::vector<std::string> lines;
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware([&](const std::string& line) {
        const std::lock_guard lock(mutex);
        lines.push_back(line);
    });
    const HardwareReader reader(hardware);
    const CaptureRecorder recorder(hardware, reader.defaultSource());
    ASSERT_TRUE(recorder.waitForFrames(1024));
    recorder.queue()->async([] { std::this_thread::sleep_for(3s); });
    std::this_thread::sleep_for(3500ms);
    const std::vector<CaptureRecorder::Cycle> cycles = recorder.cycles();
    double largestJump = 0;
    for (std::size_t i = 1; i < cycles.size(); ++i)
        largestJump = std::max(largestJump,
                               cycles[i].inputTime.sampleTime - cycles[i - 1].inputTime.sampleTime);
    // Of 3 s of stall, at least 2 s are kept.
    EXPECT_GT(largestJump, 0.3 * 48000);
    EXPECT_LT(largestJump, 1.0 * 48000);
    const std::lock_guard lock(mutex);
    EXPECT_THAT(lines, testing::ElementsAre(testing::HasSubstr("overrun")));
}

TEST(PipeWireCaptureTest, NothingIsSubmittedAfterStop) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const AudioObjectID source = reader.defaultSource();
    const CaptureRecorder recorder(hardware, source);
    ASSERT_TRUE(recorder.waitForFrames(4096));
    EXPECT_EQ(hardware.stopDevice(source, recorder.procedure()), noErr);
    recorder.queue()->sync([] {});
    const std::size_t stopped = recorder.frameCount();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(recorder.frameCount(), stopped);
    EXPECT_EQ(hardware.startDevice(source, recorder.procedure()), noErr);
    EXPECT_TRUE(recorder.waitForFrames(stopped + 4096));
}

TEST(PipeWireCaptureTest, AProcedureMayDestroyItselfOnItsQueue) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const AudioObjectID source = reader.defaultSource();
    const CaptureRecorder unrelated(hardware, source);
    std::atomic<int> calls{0};
    std::atomic<AudioIOProcID> procedure{0};
    AudioIOProcID made = 0;
    ASSERT_EQ(
        hardware.createIOProcID(made, source, unrelated.queue(),
                                [&](const AudioTimeStamp&, AudioBufferList, const AudioTimeStamp&) {
                                    ++calls;
                                    EXPECT_EQ(hardware.destroyIOProcID(source, procedure), noErr);
                                }),
        noErr);
    procedure = made;
    ASSERT_EQ(hardware.startDevice(source, made), noErr);
    ASSERT_TRUE(unrelated.waitForFrames(20000));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(hardware.startDevice(source, made), kAudioHardwareBadDeviceError);
}

}  // namespace
}  // namespace tapwell::test
