#include "Platform/Simulated/SimulatedAudioHardware.h"
#include "Platform/Simulated/SimulatedClock.h"
#include "Platform/Simulated/SimulatedQueueFactory.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Tapwell/Capture/RecorderCoreAudioError.h"
#include "Tapwell/Control/OutputRouteMonitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto tick = 1ns;

struct RouteMonitor : testing::Test {
    VirtualTime time;
    SimulatedAudioHardware hardware{time};
    SimulatedQueueFactory queues{time};
    SimulatedClock clock{time};
    SimulatedStandardStreams streams;
    AudioObjectID first = addSpeaker();
    AudioObjectID second = addSpeaker();
    std::shared_ptr<OutputRouteMonitor> monitor;

    std::vector<std::string> hooks;  ///< in order
    std::vector<VirtualTime::Duration> rebuilds;
    std::optional<AudioObjectID> tapped;
    int failures = 0;  ///< rebuilds that are to fail
    std::function<void()> duringRebuild = [] {};

    AudioObjectID addSpeaker() {
        SimulatedDevice device;
        device.uid = "speaker";
        return hardware.addDevice(device);
    }
    void make() {
        monitor = OutputRouteMonitor::create(
            {hardware,
             queues.makeSerialQueue("Tapwell.DefaultSystemOutputRoute", QualityOfService::standard),
             clock},
            {.holdOffMicrophone = [this] { hooks.emplace_back("hold off"); },
             .rebuildSystemTap = [this] { return rebuild(); },
             .checkMicrophone = [this] { hooks.emplace_back("check"); },
             .tappedDevice = [this] { return tapped; }},
            Log(streams, "mic-debug"));
    }
    bool rebuild() {
        hooks.emplace_back("rebuild");
        rebuilds.push_back(time.now());
        tapped.reset();
        if (failures > 0) {
            --failures;
            throw RecorderCoreAudioError::wrapped("no luck");
        }
        tapped = currentOutput();
        std::exchange(duringRebuild, [] {})();
        return true;
    }
    std::optional<AudioObjectID> currentOutput() {
        AudioObjectID device = 0;
        std::uint32_t size = sizeof device;
        const AudioObjectPropertyAddress address{kAudioHardwarePropertyDefaultSystemOutputDevice,
                                                 kAudioObjectPropertyScopeGlobal,
                                                 kAudioObjectPropertyElementMain};
        if (hardware.getPropertyData(kAudioObjectSystemObject, address, {}, size, &device) != noErr)
            return std::nullopt;
        return device;
    }
    /// Registered on `first`; time begins there.
    void watch() {
        make();
        hardware.setDefaultOutput(first);
        tapped = first;
        monitor->registerDefaultSystemOutputRouteMonitoringIfNeeded();
    }
    void watchPastGrace() {
        watch();
        time.advance(OutputRouteMonitor::startUpGrace);
    }
    int logged(const std::string& text) const {
        return streams.countErrorLines("[Tapwell][mic-debug] " + text);
    }
    int changesLogged(AudioObjectID device) const {
        return logged("default system output device changed (id=" + std::to_string(device) +
                      ") — scheduling system tap rebuild\n");
    }
    int takeUpsLogged(AudioObjectID device) const {
        return logged("default system output device changed during the grace (id=" +
                      std::to_string(device) + ") — scheduling system tap rebuild\n");
    }
};

TEST_F(RouteMonitor, ARebuildFollowsAChangeAfterTheDebounce) {
    watchPastGrace();
    hardware.setDefaultOutput(second);
    time.advance(400ms - tick);
    EXPECT_THAT(hooks, ElementsAre("hold off"));
    EXPECT_EQ(changesLogged(second), 1);
    time.advance(tick);
    EXPECT_THAT(hooks, ElementsAre("hold off", "hold off", "rebuild", "check"));
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 1U);
}

TEST_F(RouteMonitor, ThreeNoticesInABurstAreOneRebuild) {
    watchPastGrace();
    for (int notice = 0; notice < 3; ++notice) {
        hardware.setDefaultOutput(second);
        if (notice < 2) time.advance(100ms);
    }
    time.advance(400ms - tick);
    EXPECT_THAT(rebuilds, IsEmpty());
    time.advance(tick);
    EXPECT_EQ(rebuilds.size(), 1U) << "0.4 s after the last";
    EXPECT_EQ(changesLogged(second), 3);
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 1U);
}

TEST_F(RouteMonitor, ANoticeOfTheObservedDeviceSchedulesNothing) {
    watchPastGrace();
    hardware.notify(kAudioHardwarePropertyDefaultOutputDevice);
    time.advance(1min);
    EXPECT_THAT(hooks, IsEmpty());
    EXPECT_TRUE(streams.errorLines().empty());
}

TEST_F(RouteMonitor, OnlyTheDefaultOutputIsListenedTo) {
    watchPastGrace();
    hardware.setDefaultInput(second);
    hardware.notify(kAudioHardwarePropertyDefaultSystemOutputDevice);
    EXPECT_EQ(hardware.listenerCount(), 1U);
    time.advance(1min);
    EXPECT_THAT(hooks, IsEmpty());
}

TEST_F(RouteMonitor, ADeviceThatCannotBeReadIsNoChange) {
    watchPastGrace();
    hardware.setDefaultOutput(std::nullopt);
    time.advance(1min);
    EXPECT_THAT(hooks, IsEmpty());
    hardware.setDefaultOutput(second);
    time.advance(400ms);
    EXPECT_EQ(rebuilds.size(), 1U);
}

TEST_F(RouteMonitor, WithNoDeviceObservedYetAnyDeviceIsAChange) {
    make();
    monitor->registerDefaultSystemOutputRouteMonitoringIfNeeded();
    time.advance(3s);
    hardware.setDefaultOutput(first);
    time.advance(400ms);
    EXPECT_EQ(rebuilds.size(), 1U);
}

TEST_F(RouteMonitor, AChangeInTheStartUpGraceIsTakenUpAtItsEnd) {
    watch();
    time.advance(1s);
    hardware.setDefaultOutput(second);
    time.advance(1500ms - tick);
    EXPECT_THAT(hooks, IsEmpty());
    EXPECT_EQ(changesLogged(second), 0) << "the notice is ignored";
    EXPECT_EQ(takeUpsLogged(second), 0);
    time.advance(tick);
    EXPECT_EQ(takeUpsLogged(second), 1);
    EXPECT_THAT(hooks, ElementsAre("hold off"));
    time.advance(400ms - tick);
    EXPECT_THAT(rebuilds, IsEmpty());
    time.advance(tick);
    EXPECT_THAT(hooks, ElementsAre("hold off", "hold off", "rebuild", "check"));
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 1U);
}

TEST_F(RouteMonitor, AChangeInTheGraceThatIsUndoneInItIsNone) {
    watch();
    time.advance(1s);
    hardware.setDefaultOutput(second);
    time.advance(1s);
    hardware.setDefaultOutput(first);
    time.advance(1min);
    EXPECT_THAT(hooks, IsEmpty());
    EXPECT_TRUE(streams.errorLines().empty());
}

TEST_F(RouteMonitor, AtTheVeryEndOfTheGraceANoticeCounts) {
    watch();
    time.advance(2500ms);
    hardware.setDefaultOutput(second);
    time.settle();
    EXPECT_EQ(changesLogged(second), 1);
    EXPECT_EQ(takeUpsLogged(second), 0);
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 1U);
}

TEST_F(RouteMonitor, ANoticeInTheGraceAfterARebuildIsIgnoredAndTakenUpAtItsEnd) {
    watchPastGrace();
    hardware.setDefaultOutput(second);
    time.advance(400ms);
    ASSERT_EQ(rebuilds.size(), 1U);
    time.advance(1250ms - tick);
    hardware.setDefaultOutput(first);
    time.settle();
    EXPECT_EQ(changesLogged(first), 0);
    time.advance(tick);
    EXPECT_EQ(takeUpsLogged(first), 1);
    time.advance(400ms - tick);
    EXPECT_EQ(rebuilds.size(), 1U);
    time.advance(tick);
    EXPECT_EQ(rebuilds.size(), 2U);
    EXPECT_EQ(tapped, first);
}

TEST_F(RouteMonitor, NoticesCausedByTheRebuildItselfAreIgnored) {
    watchPastGrace();
    duringRebuild = [this] { hardware.notify(kAudioHardwarePropertyDefaultOutputDevice); };
    hardware.setDefaultOutput(second);
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 1U);
    EXPECT_EQ(changesLogged(second), 1);
    EXPECT_EQ(takeUpsLogged(second), 0);
}

TEST_F(RouteMonitor, ADeviceThatChangesDuringTheRebuildIsTakenUpAfterTheGrace) {
    watchPastGrace();
    duringRebuild = [this] { hardware.setDefaultOutput(first); };
    hardware.setDefaultOutput(second);
    time.advance(400ms + 1250ms - tick);
    EXPECT_EQ(tapped, second) << "made just before the change";
    EXPECT_EQ(rebuilds.size(), 1U);
    time.advance(tick);
    EXPECT_EQ(takeUpsLogged(first), 1);
    time.advance(400ms);
    EXPECT_EQ(tapped, first);
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 2U);
}

TEST_F(RouteMonitor, ATapThatWasPreparedBeforeALastChangeIsReplacedAfterTheStartUpGrace) {
    make();
    hardware.setDefaultOutput(second);
    tapped = first;
    monitor->registerDefaultSystemOutputRouteMonitoringIfNeeded();
    time.advance(2500ms);
    EXPECT_EQ(takeUpsLogged(second), 1);
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 1U);
}

TEST_F(RouteMonitor, AFailedRebuildIsLoggedAndTriedAgain) {
    watchPastGrace();
    failures = 2;
    hardware.setDefaultOutput(second);
    time.advance(400ms);
    EXPECT_EQ(logged("system tap rebuild failed: no luck\n"), 1);
    EXPECT_THAT(hooks, ElementsAre("hold off", "hold off", "rebuild")) << "and no check";
    hardware.notify(kAudioHardwarePropertyDefaultOutputDevice);
    time.advance(1250ms - tick);
    EXPECT_EQ(rebuilds.size(), 1U) << "the device was observed in any case";
    EXPECT_EQ(changesLogged(second), 1);
    time.advance(tick);
    EXPECT_EQ(rebuilds.size(), 2U);
    time.advance(1250ms);
    EXPECT_EQ(rebuilds.size(), 3U);
    EXPECT_EQ(hooks.back(), "check");
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 3U);
    EXPECT_EQ(logged("system tap rebuild failed"), 2);
}

TEST_F(RouteMonitor, ARebuildThatKeepsFailingIsGivenUpUntilTheNextChange) {
    watchPastGrace();
    failures = 5;
    hardware.setDefaultOutput(second);
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 5U);
    EXPECT_EQ(logged("system tap rebuild failed: no luck"), 5);
    EXPECT_EQ(logged("system tap rebuild given up after 5 attempts"), 1);
    hardware.setDefaultOutput(first);
    time.advance(400ms);
    EXPECT_EQ(rebuilds.size(), 6U);
    EXPECT_EQ(tapped, first);
}

TEST_F(RouteMonitor, ANewDeviceDuringTheRetriesTakesTheirPlace) {
    watchPastGrace();
    failures = 1;
    hardware.setDefaultOutput(second);
    time.advance(400ms + 1s);
    hardware.setDefaultOutput(first);
    time.advance(400ms);
    EXPECT_EQ(tapped, first);
    EXPECT_EQ(rebuilds.size(), 2U);
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 2U);
}

TEST_F(RouteMonitor, WithNoOutputLeftNothingIsTriedUntilThereIsOne) {
    watchPastGrace();
    failures = 1;
    hardware.setDefaultOutput(second);
    time.advance(200ms);
    hardware.setDefaultOutput(std::nullopt);
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 1U);
    hardware.setDefaultOutput(second);
    time.advance(400ms);
    EXPECT_EQ(rebuilds.size(), 2U) << "no device is observed any more";
    EXPECT_EQ(tapped, second);
}

TEST_F(RouteMonitor, UnregisteringCancelsAPendingRebuild) {
    watchPastGrace();
    hardware.setDefaultOutput(second);
    time.advance(399ms);
    monitor->unregisterDefaultSystemOutputRouteMonitoring();
    EXPECT_EQ(hardware.listenerCount(), 0U);
    time.advance(1min);
    EXPECT_THAT(rebuilds, IsEmpty());
}

TEST_F(RouteMonitor, UnregisteringCancelsARetryAndAGraceAndANoticeOnItsWay) {
    watchPastGrace();
    failures = 1;
    hardware.setDefaultOutput(second);
    time.advance(400ms);
    hardware.setDefaultOutput(first);  // not delivered yet
    monitor->unregisterDefaultSystemOutputRouteMonitoring();
    time.advance(1min);
    EXPECT_EQ(rebuilds.size(), 1U);
    EXPECT_EQ(takeUpsLogged(first), 0);
}

TEST_F(RouteMonitor, AMonitorThatIsGoneLeavesScheduledWorkWithoutEffect) {
    watchPastGrace();
    hardware.setDefaultOutput(second);
    time.advance(200ms);
    monitor.reset();
    EXPECT_EQ(hardware.listenerCount(), 0U);
    time.advance(1min);
    EXPECT_THAT(rebuilds, IsEmpty());
}

TEST_F(RouteMonitor, WithoutAListenerNothingIsMonitored) {
    hardware.failNext("addPropertyListener", -2);
    watch();
    EXPECT_EQ(logged("AudioObjectAddPropertyListenerBlock(DefaultSystemOutputDevice) failed: -2\n"),
              1);
    hardware.setDefaultOutput(second);
    time.advance(1min);
    EXPECT_THAT(hooks, IsEmpty());
}

TEST_F(RouteMonitor, RegisteringTwiceListensOnce) {
    watch();
    monitor->registerDefaultSystemOutputRouteMonitoringIfNeeded();
    EXPECT_EQ(hardware.listenerCount(), 1U);
}

}  // namespace
}  // namespace tapwell
