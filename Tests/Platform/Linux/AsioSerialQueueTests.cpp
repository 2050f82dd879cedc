#include "Platform/Linux/AsioSerialQueue.h"
#include "Platform/Linux/LinuxQueueFactory.h"
#include "Platform/Linux/LinuxSemaphore.h"
#include "Platform/Linux/ThreadIdentity.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

std::shared_ptr<SerialQueue> makeQueue(const std::string& label = "Tapwell.Test.Queue") {
    return LinuxQueueFactory().makeSerialQueue(label);
}

TEST(AsioSerialQueue, RunsWorkInTheOrderOfSubmission) {
    std::vector<int> order;
    const auto queue = makeQueue();
    for (int i = 0; i < 1000; ++i)
        queue->async([&order, i] { order.push_back(i); });
    queue->sync([] {});
    ASSERT_EQ(order.size(), 1000u);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(AsioSerialQueue, KeepsTheOrderBetweenItsOwnThreadAndOthers) {
    const auto queue = makeQueue();
    for (int round = 0; round < 200; ++round) {
        std::vector<char> order;
        LinuxSemaphore submitted, release;
        queue->async([&] {
            queue->async([&] { order.push_back('a'); });
            submitted.signal();
            release.wait();
        });
        submitted.wait();
        queue->async([&] { order.push_back('b'); });
        release.signal();
        queue->sync([] {});
        ASSERT_EQ(order, (std::vector<char>{'a', 'b'}));
    }
}

TEST(AsioSerialQueue, NeverRunsTwoPiecesAtOnce) {
    const auto queue = makeQueue();
    int unguarded = 0;
    std::vector<std::thread> submitters;
    for (int t = 0; t < 4; ++t) {
        submitters.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                queue->async([&unguarded] { ++unguarded; });
                if (i % 50 == 0) queue->sync([&unguarded] { ++unguarded; });
            }
        });
    }
    for (std::thread& submitter : submitters)
        submitter.join();
    queue->sync([] {});
    EXPECT_EQ(unguarded, 4 * 510);
}

TEST(AsioSerialQueue, ABlockedQueueHoldsUpNoOther) {
    LinuxSemaphore release;
    std::vector<std::shared_ptr<SerialQueue>> blocked;
    for (int i = 0; i < 8; ++i) {
        blocked.push_back(makeQueue());
        blocked.back()->async([&release] { release.wait(); });
    }
    bool hasRun = false;
    makeQueue()->sync([&hasRun] { hasRun = true; });
    EXPECT_TRUE(hasRun);
    for (int i = 0; i < 8; ++i)
        release.signal();
}

TEST(AsioSerialQueue, SyncRethrowsAndTheQueueGoesOn) {
    const auto queue = makeQueue();
    EXPECT_THROW(queue->sync([] { throw std::runtime_error("no"); }), std::runtime_error);
    int runs = 0;
    queue->sync([&runs] { ++runs; });
    EXPECT_EQ(runs, 1);
}

TEST(AsioSerialQueueDeathTest, SyncFromItsOwnWorkEndsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            const auto queue = makeQueue("Tapwell.Own");
            queue->sync([&queue] { queue->sync([] {}); });
        },
        "sync on queue \"Tapwell.Own\" from its own work");
}

TEST(AsioSerialQueue, SyncIntoAnotherQueueFromWorkIsAllowed) {
    const auto outer = makeQueue();
    const auto inner = makeQueue();
    int runs = 0;
    outer->sync([&] { inner->sync([&runs] { ++runs; }); });
    EXPECT_EQ(runs, 1);
}

TEST(AsioSerialQueue, RunsDelayedWorkByTimeAndNotBefore) {
    const auto queue = makeQueue();
    const auto begin = Steady::now();
    std::vector<int> order;
    LinuxSemaphore done;
    Steady::duration lateness{};
    queue->asyncAfter(60ms, [&] {
        order.push_back(60);
        lateness = Steady::now() - begin - 60ms;
        done.signal();
    });
    queue->asyncAfter(20ms, [&] { order.push_back(20); });
    queue->asyncAfter(0ms, [&] { order.push_back(0); });
    queue->asyncAfter(-5ms, [&] { order.push_back(-5); });
    queue->async([&] { order.push_back(1); });
    done.wait();
    EXPECT_EQ(order, (std::vector<int>{0, -5, 1, 20, 60}));
    EXPECT_GE(lateness, 0ms);
}

TEST(AsioSerialQueue, ACancelledItemDoesNotRun) {
    const auto queue = makeQueue();
    std::atomic<int> runs{0};
    const auto cancelled = std::make_shared<WorkItem>([&runs] { runs += 100; });
    const auto kept = std::make_shared<WorkItem>([&runs] { runs += 1; });
    queue->asyncAfter(20ms, cancelled);
    queue->asyncAfter(20ms, kept);
    cancelled->cancel();
    LinuxSemaphore done;
    queue->asyncAfter(60ms, [&done] { done.signal(); });
    done.wait();
    EXPECT_EQ(runs.load(), 1);
}

TEST(AsioSerialQueue, ReleaseFromOutsideRunsWhatWasSubmittedAndDropsWhatIsScheduled) {
    int runs = 0;
    std::weak_ptr<int> ownedByTimer;
    const auto begin = Steady::now();
    {
        auto queue = makeQueue();
        auto owned = std::make_shared<int>(1);
        ownedByTimer = owned;
        queue->asyncAfter(1h, [owned, &runs] { runs += 1000; });
        queue->asyncAfter(std::chrono::nanoseconds::max(), [&runs] { runs += 1000; });
        owned.reset();
        queue->async([] { std::this_thread::sleep_for(20ms); });
        for (int i = 0; i < 100; ++i)
            queue->async([&runs] { ++runs; });
    }
    EXPECT_EQ(runs, 100);
    EXPECT_TRUE(ownedByTimer.expired());
    EXPECT_LT(Steady::now() - begin, 30s);
}

TEST(AsioSerialQueue, ReleaseInsideItsOwnWorkStillRunsTheRest) {
    LinuxSemaphore mayRelease, finished;
    int runs = 0;
    auto queue = makeQueue();
    const std::weak_ptr<SerialQueue> observed = queue;
    queue->async([&mayRelease, held = queue]() mutable {
        mayRelease.wait();
        held.reset();
    });
    queue->asyncAfter(1h, [&runs] { runs += 1000; });
    for (int i = 0; i < 10; ++i)
        queue->async([&runs] { ++runs; });
    queue->async([&finished] { finished.signal(); });
    queue.reset();
    mayRelease.signal();
    ASSERT_TRUE(finished.wait(30s));
    EXPECT_EQ(runs, 10);
    EXPECT_TRUE(observed.expired());
}

TEST(AsioSerialQueue, ReleaseByTheDestructionOfItsOwnWorkIsAllowed) {
    for (int round = 0; round < 100; ++round) {
        std::promise<bool> releasedLast;
        auto queue = makeQueue();
        auto holder = std::make_shared<std::shared_ptr<SerialQueue>>(queue);
        const std::weak_ptr<SerialQueue> observed = queue;
        LinuxSemaphore mayEnd;
        std::shared_ptr<void> work(nullptr, [&, holder = std::move(holder)](void*) {
            holder->reset();
            releasedLast.set_value(observed.expired());
        });
        queue->async([&mayEnd, work = std::move(work)] { mayEnd.wait(); });
        queue.reset();
        mayEnd.signal();
        auto outcome = releasedLast.get_future();
        ASSERT_EQ(outcome.wait_for(30s), std::future_status::ready);
        EXPECT_TRUE(outcome.get());
    }
}

TEST(AsioSerialQueue, AQueueWithoutWorkHasNoThreadToWaitFor) {
    for (int i = 0; i < 10000; ++i)
        makeQueue();
}

TEST(AsioSerialQueue, NamesItsThreadAfterTheLabel) {
    const auto queue = makeQueue("Tapwell.MixedPCMFeedRouter.Mix");
    EXPECT_EQ(queue->label(), "Tapwell.MixedPCMFeedRouter.Mix");
    char name[32] = {};
    queue->sync([&name] { pthread_getname_np(pthread_self(), name, sizeof name); });
    EXPECT_STREQ(name, "FeedRouter.Mix");
}

TEST(AsioSerialQueue, EveryUrgencyRuns) {
    for (const auto quality : {QualityOfService::userInteractive, QualityOfService::userInitiated,
                               QualityOfService::standard, QualityOfService::utility}) {
        bool hasRun = false;
        LinuxQueueFactory().makeSerialQueue("q", quality)->sync([&hasRun] { hasRun = true; });
        EXPECT_TRUE(hasRun);
    }
}

TEST(ThreadIdentity, ThreadNamesBeginAtAWord) {
    EXPECT_EQ(threadNameForLabel("Short"), "Short");
    EXPECT_EQ(threadNameForLabel("exactly15bytes."), "exactly15bytes.");
    EXPECT_EQ(threadNameForLabel("Tapwell.TrackSink.Append"), "Sink.Append");
    EXPECT_EQ(threadNameForLabel("Tapwell.Session.SystemWriteQue"), "SystemWriteQue");
    EXPECT_EQ(threadNameForLabel("a.lower.case.fifteen.bytes.xx"), "bytes.xx");
    EXPECT_EQ(threadNameForLabel("aaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"), "aaaaaaaaaaaaaaa");
}

TEST(LinuxSemaphore, CountsSignals) {
    LinuxSemaphore semaphore;
    semaphore.signal();
    semaphore.signal();
    semaphore.wait();
    EXPECT_TRUE(semaphore.wait(0ns));
    EXPECT_FALSE(semaphore.wait(0ns));
    EXPECT_FALSE(semaphore.wait(-1ns));
    const auto begin = Steady::now();
    EXPECT_FALSE(semaphore.wait(30ms));
    EXPECT_GE(Steady::now() - begin, 30ms);
}

TEST(LinuxSemaphore, WakesAWaiterOfAnotherThread) {
    LinuxSemaphore semaphore;
    std::thread signaller([&semaphore] {
        std::this_thread::sleep_for(10ms);
        semaphore.signal();
    });
    EXPECT_TRUE(semaphore.wait(std::chrono::nanoseconds::max()));
    signaller.join();
}

}  // namespace
}  // namespace tapwell
