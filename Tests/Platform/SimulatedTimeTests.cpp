#include "Platform/Simulated/SimulatedClock.h"
#include "Platform/Simulated/SimulatedQueueFactory.h"
#include "Platform/Simulated/VirtualTime.h"

#include <gtest/gtest.h>

#include <string>

namespace tapwell {
namespace {

using namespace std::chrono_literals;

struct SimulatedTime : testing::Test {
    VirtualTime time;
    SimulatedQueueFactory queues{time};
    std::string trace;
};

TEST_F(SimulatedTime, WorkRunsInTheOrderOfItsMoments) {
    time.schedule(2ms, [&] { trace += "c"; });
    time.schedule(1ms, [&] { trace += "a"; });
    time.schedule(1ms, [&] { trace += "b"; });
    time.advance(1ms);
    EXPECT_EQ(trace, "ab");
    time.advance(999us);
    EXPECT_EQ(trace, "ab");
    time.advance(1us);
    EXPECT_EQ(trace, "abc");
}

TEST_F(SimulatedTime, SyncRunsWhatWasSubmittedBefore) {
    const auto queue = queues.makeSerialQueue("q", QualityOfService::standard);
    queue->async([&] { trace += "a"; });
    queue->asyncAfter(1ms, [&] { trace += "late"; });
    queue->sync([&] { trace += "b"; });
    EXPECT_EQ(trace, "ab");
    time.advance(1ms);
    EXPECT_EQ(trace, "ablate");
}

TEST_F(SimulatedTime, SyncFromOwnWorkIsCaught) {
    const auto queue = queues.makeSerialQueue("q", QualityOfService::standard);
    queue->async([&] { EXPECT_THROW(queue->sync([] {}), std::logic_error); });
    time.settle();
}

TEST_F(SimulatedTime, ACancelledItemDoesNotRun) {
    const auto queue = queues.makeSerialQueue("q", QualityOfService::standard);
    const auto item = std::make_shared<WorkItem>([&] { trace += "x"; });
    queue->asyncAfter(5ms, item);
    time.advance(4ms);
    item->cancel();
    time.advance(10ms);
    EXPECT_EQ(trace, "");
}

TEST_F(SimulatedTime, WaitingLetsTimePassUntilTheSignal) {
    const auto semaphore = queues.makeSemaphore();
    time.schedule(30ms, [&] { semaphore->signal(); });
    EXPECT_FALSE(semaphore->wait(10ms));
    EXPECT_EQ(time.now(), 10ms);
    EXPECT_TRUE(semaphore->wait(100ms));
    EXPECT_EQ(time.now(), 30ms);
}

TEST_F(SimulatedTime, WaitingForeverIsAnError) {
    EXPECT_THROW(queues.makeSemaphore()->wait(), std::logic_error);
}

TEST_F(SimulatedTime, TicksAreNoNanoseconds) {
    SimulatedClock clock(time);
    const auto before = clock.hostTicks();
    time.advance(1s);
    EXPECT_EQ(clock.hostTicks() - before, 24'000'000U);
    EXPECT_NEAR(clock.hostSeconds(clock.hostTicks()) - clock.hostSeconds(before), 1.0, 1e-9);
}

}  // namespace
}  // namespace tapwell
