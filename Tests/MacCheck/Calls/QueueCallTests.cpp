#include "Fakes/FakeSystem.h"
#include "Platform/macOS/DispatchQueueFactory.h"
#include "Platform/macOS/MachClock.h"
#include "Platform/macOS/TccPreflight.h"

#include <gtest/gtest.h>
#include <mach/mach_time.h>

#include <stdexcept>

namespace {

std::uint64_t ticks = 0;

}  // namespace

extern "C" {

std::uint64_t mach_absolute_time(void) {
    return ticks;
}

/// As on Apple silicon.
int mach_timebase_info(mach_timebase_info_data_t* outInfo) {
    *outInfo = {125, 3};
    return 0;
}

}  // extern "C"

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using maccheck::FakeSystem;

struct QueueCallTest : testing::Test {
    QueueCallTest() { fake.reset(); }
    ~QueueCallTest() override { EXPECT_EQ(fake.liveObjects, 0); }
    FakeSystem& fake = FakeSystem::get();
    DispatchQueueFactory queues;
};

TEST_F(QueueCallTest, RunsWorkThatOutlivesItsQueue) {
    int runs = 0;
    {
        const auto queue = queues.makeSerialQueue("q", QualityOfService::userInitiated);
        EXPECT_EQ(queue->label(), "q");
        queue->async([&] { ++runs; });
        queue->asyncAfter(1s, [&] { ++runs; });
    }
    EXPECT_EQ(runs, 0);
    fake.drain();
    EXPECT_EQ(runs, 2);
}

TEST_F(QueueCallTest, SyncComesAfterWhatWasSubmittedAndRethrows) {
    const auto queue = queues.makeSerialQueue("q");
    std::string order;
    queue->async([&] { order += 'a'; });
    queue->sync([&] { order += 'b'; });
    EXPECT_EQ(order, "ab");
    EXPECT_THROW(queue->sync([] { throw std::runtime_error("x"); }), std::runtime_error);
}

TEST_F(QueueCallTest, ACancelledItemDoesNothing) {
    const auto queue = queues.makeSerialQueue("q");
    bool hasRun = false;
    const auto item = std::make_shared<WorkItem>([&] { hasRun = true; });
    queue->asyncAfter(1ms, item);
    item->cancel();
    fake.drain();
    EXPECT_FALSE(hasRun);
}

TEST_F(QueueCallTest, ASemaphoreCountsSignals) {
    const auto semaphore = queues.makeSemaphore();
    EXPECT_FALSE(semaphore->wait(-1s));
    semaphore->signal();
    EXPECT_TRUE(semaphore->wait(1s));
    EXPECT_FALSE(semaphore->wait(0s));
}

TEST_F(QueueCallTest, TicksAreNoNanoseconds) {
    const MachClock clock;
    ticks = 24'000'000;  // a second
    EXPECT_EQ(clock.hostTicks(), ticks);
    EXPECT_EQ(clock.now(), 1s);
    EXPECT_DOUBLE_EQ(clock.hostSeconds(ticks), 1.0);
    ticks = 24'000'000ull * 86400 * 365 * 20;  // ticks times 125 would not fit for long
    EXPECT_EQ(clock.now(), std::chrono::hours(24 * 365 * 20));
    ticks = 1;
    EXPECT_EQ(clock.now(), 41ns);
}

TEST_F(QueueCallTest, AMissingPermissionServiceGivesNoAnswer) {
    EXPECT_EQ(tccAudioCapturePreflight(), std::nullopt);
}

}  // namespace
}  // namespace tapwell
