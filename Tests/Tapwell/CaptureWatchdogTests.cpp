#include "Platform/Simulated/SimulatedClock.h"
#include "Platform/Simulated/SimulatedQueueFactory.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Tapwell/Control/CaptureWatchdog.h"

#include <gtest/gtest.h>

#include <vector>

namespace tapwell {
namespace {

using namespace std::chrono_literals;

struct Watchdog : testing::Test {
    VirtualTime time;
    SimulatedQueueFactory queues{time};
    SimulatedClock clock{time};
    SimulatedStandardStreams streams;
    std::vector<double> outages;  ///< seconds of host time
    std::shared_ptr<CaptureWatchdog> watchdog = CaptureWatchdog::create(
        queues.makeSerialQueue("Test.Watchdog", QualityOfService::standard), clock,
        [this](double hostSeconds) { outages.push_back(hostSeconds); }, Log(streams, "mic-debug"));

    void deliver(std::chrono::milliseconds length, bool system, bool microphone) {
        for (auto passed = 0ms; passed < length; passed += 10ms) {
            if (system) watchdog->systemArrived();
            if (microphone) watchdog->microphoneArrived();
            time.advance(10ms);
        }
    }
    int logged(const std::string& text) const {
        return streams.countErrorLines("[Tapwell][mic-debug] " + text);
    }
};

TEST_F(Watchdog, AQuietStreamIsReportedOnceAndSoIsItsReturn) {
    watchdog->start();
    deliver(1s, true, true);
    deliver(1990ms, true, false);
    EXPECT_TRUE(streams.errorLines().empty());
    deliver(10s, true, false);
    EXPECT_EQ(logged("no audio from the microphone for 2.0 s; the recording goes on without it\n"),
              1);
    deliver(1s, true, true);
    EXPECT_EQ(logged("audio from the microphone is back after 12.0 s\n"), 1);
    deliver(10s, true, true);
    EXPECT_EQ(streams.errorLines().size(), 2U);
    EXPECT_TRUE(outages.empty());
    deliver(5s, false, true);
    EXPECT_EQ(logged("no audio from the system output for 2.0 s"), 1);
}

TEST_F(Watchdog, AStreamThatNeverDeliversIsReported) {
    watchdog->start();
    deliver(5s, true, false);
    EXPECT_EQ(logged("no audio from the microphone for 2.0 s"), 1);
}

TEST_F(Watchdog, APauseBelowTheLimitIsNotReported) {
    watchdog->start();
    deliver(1s, true, true);
    deliver(1900ms, false, true);
    deliver(5s, true, true);
    EXPECT_TRUE(streams.errorLines().empty());
}

TEST_F(Watchdog, WhenBothAreQuietTheOutageIsToldCheckByCheck) {
    watchdog->start();
    const double begin = clock.hostSeconds(clock.hostTicks());
    deliver(1s, true, true);
    time.advance(1499ms);
    EXPECT_TRUE(outages.empty());
    time.advance(501ms);
    // The check at 1.0 s sees what arrived before it; the third quiet one is at 2.5 s.
    ASSERT_EQ(outages.size(), 2U);
    EXPECT_NEAR(outages[0], begin + 1.5, 1e-6);
    EXPECT_NEAR(outages[1], begin + 2.0, 1e-6);
    deliver(1s, true, false);
    time.advance(1s);
    EXPECT_EQ(outages.size(), 2U);
}

TEST_F(Watchdog, AfterTheStopNothingIsChecked) {
    watchdog->start();
    watchdog->stop();
    time.advance(1min);
    EXPECT_TRUE(streams.errorLines().empty());
    EXPECT_TRUE(outages.empty());
}

TEST_F(Watchdog, AWatchdogThatIsGoneChecksNothing) {
    watchdog->start();
    watchdog.reset();
    time.advance(1min);
    EXPECT_TRUE(streams.errorLines().empty());
}

}  // namespace
}  // namespace tapwell
