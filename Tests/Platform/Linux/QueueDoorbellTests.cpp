#include "Platform/Linux/AsioSerialQueue.h"
#include "Platform/Linux/LinuxSemaphore.h"
#include "Platform/Linux/QueueDoorbell.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

namespace tapwell {
namespace {

using namespace std::chrono_literals;

struct DoorbellTest : testing::Test {
    std::shared_ptr<AsioSerialQueue> queue =
        std::make_shared<AsioSerialQueue>("Tapwell.Test.Doorbell", QualityOfService::standard);

    static std::ptrdiff_t descriptors() {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return std::distance(begin(entries), end(entries));
    }
};

TEST_F(DoorbellTest, ARingRunsTheWorkOnTheQueue) {
    LinuxSemaphore ran;
    std::thread::id where;
    const auto bell = queue->makeDoorbell([&] {
        where = std::this_thread::get_id();
        ran.signal();
    });
    bell->ring();
    ASSERT_TRUE(ran.wait(5s));
    std::thread::id queueThread;
    queue->sync([&] { queueThread = std::this_thread::get_id(); });
    EXPECT_EQ(where, queueThread);
    bell->close();
}

TEST_F(DoorbellTest, WithoutARingNothingRuns) {
    std::atomic<int> runs{0};
    const auto bell = queue->makeDoorbell([&] { ++runs; });
    queue->sync([] {});
    bell->close();
    queue->sync([] {});
    EXPECT_EQ(runs, 0);
}

/// What was put down before a ring is seen by a run that begins after it.
TEST_F(DoorbellTest, NoRingIsLost) {
    constexpr int kRings = 20000;
    std::atomic<int> rung{0};
    std::atomic<int> seen{0};
    LinuxSemaphore all;
    const auto bell = queue->makeDoorbell([&] {
        seen = rung.load();
        if (seen == 2 * kRings) all.signal();
    });
    std::vector<std::thread> ringers;
    for (int thread = 0; thread < 2; ++thread)
        ringers.emplace_back([&] {
            for (int i = 0; i < kRings; ++i) {
                ++rung;
                bell->ring();
            }
        });
    for (std::thread& ringer : ringers)
        ringer.join();
    EXPECT_TRUE(all.wait(20s)) << "seen " << seen;
    bell->close();
}

TEST_F(DoorbellTest, RingsWhileTheWorkRunsBringOneMoreRun) {
    LinuxSemaphore entered, leave, again;
    std::atomic<int> runs{0};
    const auto bell = queue->makeDoorbell([&] {
        if (++runs > 1) return again.signal();
        entered.signal();
        leave.wait(5s);
    });
    bell->ring();
    ASSERT_TRUE(entered.wait(5s));
    for (int i = 0; i < 10; ++i)
        bell->ring();
    leave.signal();
    ASSERT_TRUE(again.wait(5s));
    queue->sync([] {});
    EXPECT_EQ(runs, 2);
    bell->close();
}

TEST_F(DoorbellTest, AClosedOneKeepsNothing) {
    const std::ptrdiff_t before = (queue->sync([] {}), descriptors());
    const auto held = std::make_shared<int>(0);
    auto bell = queue->makeDoorbell([held] {});
    EXPECT_GT(descriptors(), before);
    bell->close();
    bell.reset();
    // The read ends behind the closing, in a turn of its own.
    queue->sync([] {});
    queue->sync([] {});
    EXPECT_EQ(held.use_count(), 1);
    // The first descriptor that a queue waits for costs it three of its own.
    const std::ptrdiff_t after = descriptors();
    for (int i = 0; i < 20; ++i)
        queue->makeDoorbell([] {})->close();
    queue->sync([] {});
    queue->sync([] {});
    EXPECT_EQ(descriptors(), after);
}

TEST_F(DoorbellTest, TheQueueClosesWhatIsLeft) {
    const auto held = std::make_shared<int>(0);
    const auto bell = queue->makeDoorbell([held] {});
    queue.reset();
    EXPECT_EQ(held.use_count(), 2) << "held by the doorbell alone";
}

}  // namespace
}  // namespace tapwell
