#include "Platform/Simulated/SimulatedAudioHardware.h"
#include "Platform/Simulated/SimulatedEnvironment.h"
#include "Platform/Simulated/SimulatedQueueFactory.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Tapwell/Capture/RecorderCoreAudioError.h"
#include "Tapwell/Capture/SystemAudioTapSession.h"

#include <gtest/gtest.h>

namespace tapwell {
namespace {

using namespace std::chrono_literals;

struct SystemTap : testing::Test {
    VirtualTime time;
    SimulatedAudioHardware hardware{time};
    SimulatedQueueFactory queues{time};
    SimulatedEnvironment environment;
    SimulatedStandardStreams streams;
    std::shared_ptr<SerialQueue> queue = queues.makeSerialQueue("tap", QualityOfService::standard);
    std::shared_ptr<SystemAudioTapSession> tap =
        SystemAudioTapSession::create(hardware, environment, Log(streams, "system-tap"));
    AudioObjectID speaker = kAudioObjectUnknown;
    int cycles = 0;
    std::vector<double> bufferRates;

    void addSpeaker(const std::function<void(SimulatedDevice&)>& change = nullptr) {
        SimulatedDevice device;
        device.uid = "speaker-uid";
        if (change) change(device);
        speaker = hardware.addDevice(device);
        hardware.setDefaultOutput(speaker);
    }
    void run() {
        tap->run(queue, *tap->tapAVFormat(), nullptr,
                 [this](const PcmBuffer& buffer, const AudioTimeStamp&) {
                     ++cycles;
                     bufferRates.push_back(buffer.format().sampleRate());
                 });
    }
    void expectNothingLeft() const {
        EXPECT_EQ(hardware.liveTaps(), 0U);
        EXPECT_EQ(hardware.liveAggregates(), 0U);
        EXPECT_EQ(hardware.runningProcedures(), 0U);
    }
    std::string failure(const std::function<void()>& call) {
        try {
            call();
        } catch (const RecorderCoreAudioError& error) {
            return error.what();
        }
        return "no error";
    }
    bool logged(const std::string& text) const {
        return streams.countErrorLines("[Tapwell][system-tap] " + text) > 0;
    }
};

TEST_F(SystemTap, RunWithoutPrepareIsRefused) {
    const auto format = *AudioFormat::make(CommonFormat::pcmFloat32, 48000, 2, true);
    EXPECT_EQ(failure([&] { tap->run(queue, format, nullptr, nullptr); }), "run before prepare");
}

TEST_F(SystemTap, NoDefaultOutputIsAMissingDevice) {
    EXPECT_EQ(failure([&] { tap->prepareExcludeTapwellPid(); }), "default output device missing");
}

TEST_F(SystemTap, TheTapExcludesThisProcessAlone) {
    addSpeaker();
    tap->prepareExcludeTapwellPid();
    const TapDescription& description = hardware.lastTapDescription();
    EXPECT_EQ(description.excludedProcesses, std::vector<AudioObjectID>{77});
    EXPECT_EQ(description.name, "Tolvane Recorder Tap");
    EXPECT_EQ(description.muteBehavior, TapDescription::MuteBehavior::unmuted);
    EXPECT_EQ(description.uuid.size(), 36U);
}

TEST_F(SystemTap, TheAggregateDeviceIsDescribedByEightEntries) {
    addSpeaker();
    tap->prepareExcludeTapwellPid();
    const auto& entries = hardware.lastAggregateDescription().entries;
    ASSERT_EQ(entries.size(), 8U);
    const auto text = [&](const char* key) { return std::get<std::string>(entries.at(key)); };
    const auto flag = [&](const char* key) { return std::get<bool>(entries.at(key)); };
    EXPECT_EQ(text("master"), "speaker-uid");
    EXPECT_EQ(text("name"), "TolvaneRecorderTap-" + text("uid").substr(0, 8));
    EXPECT_EQ(text("uid").size(), 36U);
    EXPECT_NE(text("uid"), hardware.lastTapDescription().uuid);
    EXPECT_TRUE(flag("private"));
    EXPECT_FALSE(flag("stacked"));
    EXPECT_TRUE(flag("tapautostart"));
    const auto& devices = std::get<std::vector<PropertyDictionary>>(entries.at("subdevices"));
    ASSERT_EQ(devices.size(), 1U);
    ASSERT_EQ(devices[0].entries.size(), 1U);
    EXPECT_EQ(std::get<std::string>(devices[0].entries.at("uid")), "speaker-uid");
    const auto& taps = std::get<std::vector<PropertyDictionary>>(entries.at("taps"));
    ASSERT_EQ(taps.size(), 1U);
    ASSERT_EQ(taps[0].entries.size(), 2U);
    EXPECT_EQ(std::get<std::string>(taps[0].entries.at("uid")), hardware.lastTapDescription().uuid);
    EXPECT_TRUE(std::get<bool>(taps[0].entries.at("drift")));
}

TEST_F(SystemTap, EveryStepOfPrepareThatFailsLeavesNothingBehind) {
    addSpeaker();
    const auto prepare = [&] { tap->prepareExcludeTapwellPid(); };
    const auto denied = "PERMISSION_DENIED_SYSTEM_AUDIO";

    hardware.failNext("createProcessTap", -5);
    EXPECT_EQ(failure(prepare), "audio tap create OSStatus -5");
    expectNothingLeft();
    hardware.failNext("createProcessTap", kAudioDevicePermissionsError);
    EXPECT_EQ(failure(prepare), denied);
    expectNothingLeft();
    hardware.failNext("tapFormat", -6);
    EXPECT_EQ(failure(prepare), "tap asbd -6");
    expectNothingLeft();
    hardware.failNext("createAggregateDevice", -7);
    EXPECT_EQ(failure(prepare), "aggregate create OSStatus -7");
    expectNothingLeft();
    hardware.failNext("createAggregateDevice", kAudioDevicePermissionsError);
    EXPECT_EQ(failure(prepare), denied);
    expectNothingLeft();
    EXPECT_EQ(failure(prepare), "no error");
}

TEST_F(SystemTap, EveryStepOfRunThatFailsLeavesNothingBehind) {
    addSpeaker();
    const auto prepareAndRun = [&] {
        tap->prepareExcludeTapwellPid();
        run();
    };
    hardware.failNext("startDevice", -8);
    EXPECT_EQ(failure(prepareAndRun), "aggregate start -8");
    expectNothingLeft();
    hardware.failNext("startDevice", kAudioDevicePermissionsError);
    EXPECT_EQ(failure(prepareAndRun), "PERMISSION_DENIED_SYSTEM_AUDIO");
    expectNothingLeft();
    hardware.failNext("createIOProcID", kAudioDevicePermissionsError);
    EXPECT_EQ(failure(prepareAndRun),
              "create io proc " + std::to_string(kAudioDevicePermissionsError))
        << "only creation and start of tap and aggregate speak of permission";
    tap->stopAndTeardown();
    expectNothingLeft();
}

TEST_F(SystemTap, ARefusedStartUndoesInReverse) {
    addSpeaker();
    tap->prepareExcludeTapwellPid();
    hardware.failNext("startDevice", -8);
    failure([&] { run(); });
    const std::vector<std::string> expected = {
        "createProcessTap", "createAggregateDevice",  "createIOProcID",   "startDevice",
        "destroyIOProcID",  "destroyAggregateDevice", "destroyProcessTap"};
    EXPECT_EQ(hardware.journal(), expected);
}

TEST_F(SystemTap, TheActionBeforeTheStartComesBeforeTheStart) {
    addSpeaker();
    tap->prepareExcludeTapwellPid();
    int startsSeen = -1;
    tap->run(
        queue, *tap->tapAVFormat(), [&] { startsSeen = hardware.countCalls("startDevice"); },
        [](const PcmBuffer&, const AudioTimeStamp&) {});
    EXPECT_EQ(startsSeen, 0);
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
}

TEST_F(SystemTap, ACycleWithoutFramesIsPassedOver) {
    addSpeaker([](SimulatedDevice& device) { device.deliversNothing = true; });
    tap->prepareExcludeTapwellPid();
    run();
    hardware.deliverEmptyCycle();
    time.settle();
    EXPECT_EQ(cycles, 0);
}

TEST_F(SystemTap, EveryCycleIsDeliveredAndADeadDeviceDeliversNone) {
    addSpeaker([](SimulatedDevice& device) { device.framesPerCycle = 480; });
    tap->prepareExcludeTapwellPid();
    run();
    time.advance(100ms);
    EXPECT_EQ(cycles, 10);
    tap->stopAndTeardown();
    cycles = 0;
    hardware.device(speaker).deliversNothing = true;
    tap->prepareExcludeTapwellPid();
    run();
    time.advance(100ms);
    EXPECT_EQ(cycles, 0);
}

TEST_F(SystemTap, ARateHalfAHertzOffIsTheNominalRate) {
    addSpeaker([](SimulatedDevice& device) { device.actualRate = 47999.5; });
    tap->prepareExcludeTapwellPid();
    run();
    time.settle();
    EXPECT_EQ(tap->ioFormat()->sampleRate(), 48000);
    EXPECT_TRUE(logged("running sample rate=47999.5 (matches tap nominal)"));
}

TEST_F(SystemTap, ADifferentRunningRateIsAHintWhileBuffersKeepTheirLabel) {
    addSpeaker([](SimulatedDevice& device) { device.actualRate = 44100; });
    tap->prepareExcludeTapwellPid();
    run();
    time.advance(400ms);
    EXPECT_EQ(tap->ioFormat()->sampleRate(), 44100);
    EXPECT_EQ(tap->ioFormat()->channelCount(), 2U);
    EXPECT_EQ(bufferRates, std::vector<double>(bufferRates.size(), 48000.0));
    EXPECT_GT(cycles, 30);
    EXPECT_TRUE(
        logged("corrected semantic IO sample rate hint tap=48000.0 actual=44100.0 "
               "(not used for bufferListNoCopy)"));
    EXPECT_TRUE(
        logged("diagnostic: aggregate ActualSampleRate=44100.0 vs tap format sr=48000.0 "
               "(rel=0.0813); bufferListNoCopy uses tap nominal only; semantic hint via "
               "refreshRunningIOFormat"));
}

TEST_F(SystemTap, TheRunningRateIsReadThreeTimes) {
    addSpeaker();
    tap->prepareExcludeTapwellPid();
    run();
    const std::string line = "running sample rate=48000.0 (matches tap nominal)";
    time.settle();
    EXPECT_EQ(streams.countErrorLines(line), 1);
    time.advance(119ms);
    EXPECT_EQ(streams.countErrorLines(line), 1);
    time.advance(1ms);
    EXPECT_EQ(streams.countErrorLines(line), 2);
    time.advance(230ms);
    EXPECT_EQ(streams.countErrorLines(line), 3);
    time.advance(10s);
    EXPECT_EQ(streams.countErrorLines(line), 3);
}

TEST_F(SystemTap, AnUnreadableRunningRateLeavesTheTapRate) {
    addSpeaker([](SimulatedDevice& device) { device.actualRateUnreadable = true; });
    tap->prepareExcludeTapwellPid();
    run();
    time.settle();
    EXPECT_EQ(tap->ioFormat()->sampleRate(), 48000);
    EXPECT_TRUE(logged("actual sample rate unavailable; using tap rate=48000.0"));
}

TEST_F(SystemTap, TeardownTwiceDoesNothingTheSecondTime) {
    addSpeaker();
    tap->prepareExcludeTapwellPid();
    run();
    time.advance(50ms);
    tap->stopAndTeardown();
    expectNothingLeft();
    const auto calls = hardware.journal().size();
    const auto lines = streams.errorLines().size();
    tap->stopAndTeardown();
    EXPECT_EQ(hardware.journal().size(), calls);
    EXPECT_EQ(streams.errorLines().size(), lines);
    time.advance(1s);
    EXPECT_FALSE(tap->ioFormat()) << "a refresh on its way must not bring a hint back";
}

TEST_F(SystemTap, TeardownErrorsAreLoggedAndNeverThrown) {
    addSpeaker();
    tap->prepareExcludeTapwellPid();
    run();
    for (const char* call :
         {"stopDevice", "destroyIOProcID", "destroyAggregateDevice", "destroyProcessTap"})
        hardware.failNext(call, -9);
    tap->stopAndTeardown();
    EXPECT_TRUE(logged("AudioDeviceStop err=-9"));
    EXPECT_TRUE(logged("DestroyIOProc err=-9"));
    EXPECT_TRUE(logged("destroy aggregate err=-9"));
    EXPECT_TRUE(logged("destroy tap err=-9"));
}

TEST_F(SystemTap, TheLastOwnerTearsDown) {
    addSpeaker();
    tap->prepareExcludeTapwellPid();
    run();
    tap.reset();
    expectNothingLeft();
    time.advance(1s);
    EXPECT_EQ(cycles, 0);
}

}  // namespace
}  // namespace tapwell
