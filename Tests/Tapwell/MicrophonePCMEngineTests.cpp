#include "Platform/RecorderError.h"
#include "Platform/Simulated/SimulatedAudioHardware.h"
#include "Platform/Simulated/SimulatedClock.h"
#include "Platform/Simulated/SimulatedQueueFactory.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Tapwell/Capture/MicrophonePCMEngine.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tapwell {
namespace {

using namespace std::chrono_literals;

struct MicrophoneEngine : testing::Test {
    VirtualTime time;
    SimulatedAudioHardware hardware{time};
    SimulatedQueueFactory queues{time};
    SimulatedClock clock{time};
    SimulatedStandardStreams streams;
    std::shared_ptr<MicrophonePCMEngine> engine =
        MicrophonePCMEngine::create({hardware, queues, clock}, Log(streams, "mic-engine"));
    int cycles = 0;
    float lastSample = 0;
    std::optional<AudioTime> lastTime;
    std::vector<std::string> hooks;

    MicrophoneEngine() {
        engine->setWillResetAudioGraph([this] { hooks.emplace_back("will"); });
        engine->setDidResetAudioGraph([this] { hooks.emplace_back("did"); });
    }
    AudioObjectID addMicrophone(float level = 0.1F) {
        SimulatedDevice device;
        device.isInput = true;
        device.format = *AudioFormat::make(CommonFormat::pcmFloat32, 48000, 1, false);
        device.signal = [level](double) { return level; };
        return hardware.addDevice(device);
    }
    void start() {
        engine->start([this](const PcmBuffer& buffer, const AudioTime& when) {
            ++cycles;
            std::uint32_t stride = 0;
            lastSample = buffer.channel<float>(0, stride)[0];
            lastTime = when;
        });
    }
    int logged(const std::string& text) const {
        return streams.countErrorLines("[Tapwell][mic-engine] " + text);
    }
};

TEST_F(MicrophoneEngine, DeliversBuffersWithTheirTimes) {
    hardware.setDefaultInput(addMicrophone(0.25F));
    start();
    time.advance(100ms);
    EXPECT_EQ(cycles, 10);
    EXPECT_EQ(lastSample, 0.25F);
    EXPECT_TRUE(lastTime->isHostTimeValid);
    EXPECT_EQ(lastTime->hostTime, SimulatedClock::ticksAt(90ms));
    EXPECT_EQ(lastTime->sampleTime, 9 * 480);
    EXPECT_EQ(lastTime->sampleRate, 48000);
    EXPECT_EQ(logged("started halIn=100 nominal=48000 Hz format sr=48000.0 ch=1 interleaved=false"),
              1);
}

TEST_F(MicrophoneEngine, StartTwiceStartsOnce) {
    hardware.setDefaultInput(addMicrophone());
    start();
    start();
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
}

TEST_F(MicrophoneEngine, FailuresToStartHaveTheirCodes) {
    const auto failure = [&] {
        try {
            start();
        } catch (const RecorderError& error) {
            return std::to_string(error.code()) + " " + error.description();
        }
        return std::string("no error");
    };
    EXPECT_EQ(failure(), "60 No default input device available");
    const AudioObjectID mic = addMicrophone();
    hardware.setDefaultInput(mic);
    hardware.failNext("createIOProcID", -3);
    EXPECT_EQ(failure(), "63 AudioDeviceCreateIOProcIDWithBlock failed: OSStatus -3");
    hardware.failNext("startDevice", -4);
    EXPECT_EQ(failure(), "64 AudioDeviceStart failed: OSStatus -4");
    EXPECT_EQ(hardware.countCalls("destroyIOProcID"), 1) << "the procedure just made";
    hardware.device(mic).streamFormatUnreadable = true;
    hardware.device(mic).nominalRate = -1;
    EXPECT_EQ(failure(), "60 Cannot create audio format for device " + std::to_string(mic));
    hardware.device(mic).nominalRate.reset();
    hardware.device(mic).streamFormatUnreadable = false;
    EXPECT_EQ(failure(), "no error");
}

TEST_F(MicrophoneEngine, AnUnreadableFormatIsCapturedAsFloatMonoAtTheNominalRate) {
    const AudioObjectID mic = addMicrophone();
    hardware.device(mic).streamFormatUnreadable = true;
    hardware.device(mic).nominalRate = 16000;
    hardware.setDefaultInput(mic);
    start();
    EXPECT_EQ(logged("WARNING: could not read stream format for device " + std::to_string(mic) +
                     " — using Float32 mono 16000.0 Hz fallback"),
              1);
    time.advance(20ms);
    EXPECT_EQ(lastTime->sampleRate, 16000);
}

TEST_F(MicrophoneEngine, AnUnreadableRateAsWellMeans48000) {
    const AudioObjectID mic = addMicrophone();
    hardware.device(mic).streamFormatUnreadable = true;
    hardware.device(mic).nominalRateUnreadable = true;
    hardware.setDefaultInput(mic);
    start();
    time.advance(20ms);
    EXPECT_EQ(lastTime->sampleRate, 48000);
    EXPECT_EQ(logged("started halIn=" + std::to_string(mic) + " nominal=nil Hz"), 1);
}

TEST_F(MicrophoneEngine, TwoSwitchesWithinTheDebounceAreOneRestart) {
    hardware.setDefaultInput(addMicrophone(0.1F));
    start();
    time.advance(1s);
    hardware.setDefaultInput(addMicrophone(0.2F));
    time.advance(300ms);
    hardware.setDefaultInput(addMicrophone(0.3F));
    time.advance(549ms);
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
    time.advance(1ms);
    EXPECT_EQ(hardware.countCalls("startDevice"), 2);
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 2);
    EXPECT_EQ(lastSample, 0.3F);
    EXPECT_EQ(hooks, (std::vector<std::string>{"will", "did"}));
    EXPECT_EQ(logged("default input device changed (id="), 2);
}

TEST_F(MicrophoneEngine, ANoticeOfTheSameDeviceChangesNothing) {
    const AudioObjectID mic = addMicrophone();
    hardware.setDefaultInput(mic);
    start();
    hardware.setDefaultInput(mic);
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
}

TEST_F(MicrophoneEngine, ASuppressedRestartIsLeftToTheRebuild) {
    hardware.setDefaultInput(addMicrophone(0.1F));
    start();
    engine->suppressDebouncedInputRestart(1s);
    hardware.setDefaultInput(addMicrophone(0.2F));
    time.advance(900ms);
    EXPECT_EQ(logged("skipped debounced input restart (kAudioHardwarePropertyDefaultInputDevice); "
                     "system tap rebuild will restart mic"),
              1);
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
    engine->restartIfDeviceChangedSync();
    EXPECT_EQ(hardware.countCalls("startDevice"), 2);
    EXPECT_EQ(logged("input device changed during system tap rebuild (capture=100 current=101) — "
                     "restarting"),
              1);
    engine->restartIfDeviceChangedSync();
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 2);
    EXPECT_EQ(lastSample, 0.2F);
}

TEST_F(MicrophoneEngine, ASuppressedRestartThatNoRebuildSeesToIsTakenUpWhenTheSuppressionEnds) {
    hardware.setDefaultInput(addMicrophone(0.1F));
    start();
    engine->suppressDebouncedInputRestart(1s);
    hardware.setDefaultInput(addMicrophone(0.2F));
    time.advance(1s - 1ns);
    EXPECT_EQ(logged("skipped debounced input restart"), 1);
    EXPECT_EQ(logged("input device changed while its restart was suppressed"), 0);
    time.advance(1ns);
    EXPECT_EQ(logged("input device changed while its restart was suppressed (capture=100 "
                     "current=101) — scheduling mic capture restart"),
              1);
    time.advance(550ms - 1ns);
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
    time.advance(1ns);
    EXPECT_EQ(hardware.countCalls("startDevice"), 2);
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 2);
    EXPECT_EQ(lastSample, 0.2F);
}

TEST_F(MicrophoneEngine, ALaterSuppressionMovesTheTakeUp) {
    hardware.setDefaultInput(addMicrophone());
    start();
    engine->suppressDebouncedInputRestart(1s);
    hardware.setDefaultInput(addMicrophone());
    time.advance(600ms);
    engine->suppressDebouncedInputRestart(1s);
    time.advance(1s - 1ns);
    EXPECT_EQ(logged("input device changed while"), 0);
    time.advance(1ns);
    EXPECT_EQ(logged("input device changed while"), 1);
}

TEST_F(MicrophoneEngine, ASuppressionWithoutAChangeTakesNothingUp) {
    hardware.setDefaultInput(addMicrophone());
    start();
    engine->suppressDebouncedInputRestart(1s);
    time.advance(5s);
    EXPECT_EQ(logged("input device changed while"), 0);
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
}

TEST_F(MicrophoneEngine, ARestartThatIsPendingWhenTheSuppressionEndsIsNotDoubled) {
    hardware.setDefaultInput(addMicrophone());
    start();
    engine->suppressDebouncedInputRestart(1s);
    time.advance(800ms);
    hardware.setDefaultInput(addMicrophone());
    time.advance(550ms);
    EXPECT_EQ(hardware.countCalls("startDevice"), 2);
    EXPECT_EQ(logged("input device changed while"), 0);
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 2);
}

TEST_F(MicrophoneEngine, AnEngineThatGaveUpTakesTheOldDeviceBack) {
    const AudioObjectID good = addMicrophone(0.3F);
    hardware.setDefaultInput(good);
    start();
    hardware.failNext("startDevice", -1, 5);
    hardware.setDefaultInput(addMicrophone());
    time.advance(5s);
    ASSERT_EQ(logged("mic capture stopped after 5 failed restart attempts"), 1);
    hardware.setDefaultInput(good);
    time.advance(1s);
    EXPECT_EQ(lastSample, 0.3F);
    EXPECT_EQ(hooks.back(), "did");
}

TEST_F(MicrophoneEngine, ACheckDuringARetrySeriesEndsTheSeries) {
    hardware.setDefaultInput(addMicrophone());
    start();
    hardware.failNext("startDevice", -1, 1);
    hardware.setDefaultInput(addMicrophone(0.4F));
    time.advance(600ms);
    engine->restartIfDeviceChangedSync();
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 3) << "no retry after the check";
    EXPECT_EQ(lastSample, 0.4F);
}

TEST_F(MicrophoneEngine, TheLastMicrophoneMayGoAndAnotherCome) {
    const AudioObjectID mic = addMicrophone();
    hardware.setDefaultInput(mic);
    start();
    hardware.removeDevice(mic);
    hardware.setDefaultInput(std::nullopt);
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
    hardware.setDefaultInput(addMicrophone(0.4F));
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 2);
    EXPECT_EQ(lastSample, 0.4F);
}

TEST_F(MicrophoneEngine, TheNewCaptureIsAnnouncedBetweenTheBuffersOfOldAndNew) {
    std::vector<float> order;
    engine->setCaptureBeginsAnew([&] { order.push_back(-1); });
    hardware.setDefaultInput(addMicrophone(0.1F));
    engine->start([&](const PcmBuffer& buffer, const AudioTime&) {
        std::uint32_t stride = 0;
        order.push_back(buffer.channel<float>(0, stride)[0]);
    });
    time.advance(500ms);
    hardware.setDefaultInput(addMicrophone(0.2F));
    time.advance(1s);
    const auto mark = std::find(order.begin(), order.end(), -1.0F);
    ASSERT_NE(mark, order.end());
    EXPECT_TRUE(std::all_of(order.begin(), mark, [](float level) { return level == 0.1F; }));
    EXPECT_TRUE(std::all_of(mark + 1, order.end(), [](float level) { return level == 0.2F; }));
}

TEST_F(MicrophoneEngine, ACancelledRestartDoesNotHappen) {
    hardware.setDefaultInput(addMicrophone());
    start();
    hardware.setDefaultInput(addMicrophone());
    time.advance(200ms);
    engine->cancelPendingDebouncedMicRestartSync();
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
}

TEST_F(MicrophoneEngine, FiveFailingRestartsAreCountedAndThenGivenUp) {
    hardware.setDefaultInput(addMicrophone());
    start();
    hardware.failNext("startDevice", -1, 5);
    hardware.setDefaultInput(addMicrophone());
    time.advance(550ms + 4 * 350ms - 1ms);
    std::string reason = "kAudioHardwarePropertyDefaultInputDevice";
    EXPECT_EQ(logged("mic capture stopped"), 0);
    time.advance(1ms);
    for (int attempt = 1; attempt <= 5; ++attempt) {
        EXPECT_EQ(logged("restart after " + reason + " failed (attempt " + std::to_string(attempt) +
                         "/5): AudioDeviceStart failed: OSStatus -1"),
                  1)
            << attempt;
        reason += "-retry";
    }
    EXPECT_EQ(logged("mic capture stopped after 5 failed restart attempts"), 1);
    time.advance(10s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 6);
    EXPECT_EQ(hooks, std::vector<std::string>(5, "will")) << "no restart succeeded";
}

TEST_F(MicrophoneEngine, ARetryThatSucceedsEndsTheSeries) {
    hardware.setDefaultInput(addMicrophone(0.1F));
    start();
    hardware.failNext("startDevice", -1, 2);
    hardware.setDefaultInput(addMicrophone(0.4F));
    time.advance(3s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 4);
    EXPECT_EQ(lastSample, 0.4F);
    EXPECT_EQ(hooks.back(), "did");
}

TEST_F(MicrophoneEngine, WithoutAListenerCaptureGoesOn) {
    hardware.setDefaultInput(addMicrophone());
    hardware.failNext("addPropertyListener", -2);
    start();
    EXPECT_EQ(logged("AudioObjectAddPropertyListenerBlock(DefaultInputDevice) failed: -2"), 1);
    time.advance(100ms);
    EXPECT_EQ(cycles, 10);
}

TEST_F(MicrophoneEngine, StopEndsDeliveryAndEveryPendingRestart) {
    hardware.setDefaultInput(addMicrophone());
    start();
    time.advance(100ms);
    hardware.setDefaultInput(addMicrophone());
    time.advance(100ms);
    engine->stop();
    EXPECT_EQ(logged("stopped"), 1);
    EXPECT_EQ(hardware.listenerCount(), 0U);
    EXPECT_EQ(hardware.runningProcedures(), 0U);
    const int before = cycles;
    time.advance(5s);
    EXPECT_EQ(cycles, before);
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
}

TEST_F(MicrophoneEngine, StopDuringARetrySeriesEndsIt) {
    hardware.setDefaultInput(addMicrophone());
    start();
    hardware.failNext("startDevice", -1, 2);
    hardware.setDefaultInput(addMicrophone());
    time.advance(600ms);
    engine->stop();
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 2);
}

TEST_F(MicrophoneEngine, AnEngineThatIsGoneLeavesScheduledWorkWithoutEffect) {
    hardware.setDefaultInput(addMicrophone());
    start();
    hardware.setDefaultInput(addMicrophone());
    time.advance(100ms);
    engine.reset();
    EXPECT_EQ(hardware.listenerCount(), 0U);
    time.advance(5s);
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
    EXPECT_EQ(hardware.runningProcedures(), 0U);
}

}  // namespace
}  // namespace tapwell
