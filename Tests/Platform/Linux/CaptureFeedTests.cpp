#include "Platform/Linux/CaptureFeed.h"
#include "Platform/Linux/CaptureRing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <numeric>
#include <thread>
#include <vector>

namespace tapwell::test {
namespace {

std::vector<float> ramp(std::size_t count, float first) {
    std::vector<float> samples(count);
    std::iota(samples.begin(), samples.end(), first);
    return samples;
}

TEST(CaptureRing, GivesBackBuffersOfAnySizeInOrder) {
    CaptureRing ring(1, 4096, 128);
    float written = 0;
    float read = 0;
    for (std::size_t round = 0; round < 5000; ++round) {
        const std::vector<float> samples = ramp(1 + round * 37 % 977, written);
        ASSERT_TRUE(ring.push(samples, {round, round + 1, static_cast<double>(round) + 2}));
        written = std::fmod(written + static_cast<float>(samples.size()), 1e6F);
        const auto slice = ring.front();
        ASSERT_TRUE(slice);
        ASSERT_EQ(slice->samples.size(), samples.size());
        EXPECT_EQ(slice->samples.front(), read);
        EXPECT_TRUE(std::equal(samples.begin(), samples.end(), slice->samples.begin()));
        EXPECT_EQ(slice->times.cycleHostTime, round);
        EXPECT_EQ(slice->times.firstHostTime, round + 1);
        EXPECT_EQ(slice->times.firstSampleTime, static_cast<double>(round) + 2);
        ring.pop();
        read = written;
    }
    EXPECT_FALSE(ring.front());
}

TEST(CaptureRing, HoldsAtLeastWhatItWasMadeFor) {
    for (const std::size_t bufferFrames : {128U, 480U, 1024U}) {
        CaptureRing ring(2, 96000, 128);
        const std::vector<float> samples(2 * bufferFrames);
        std::size_t frames = 0;
        while (ring.push(samples, {}))
            frames += bufferFrames;
        EXPECT_GE(frames + 2 * bufferFrames, 96000U) << bufferFrames;
        ASSERT_TRUE(ring.front());
        ring.pop();
        ASSERT_TRUE(ring.front());
        ring.pop();
        EXPECT_TRUE(ring.push(samples, {}));
    }
}

TEST(CaptureFeed, AsksForOneDrainAtATime) {
    using Need = CaptureFeed::Need;
    CaptureFeed feed(1, 48000);
    const std::vector<float> samples(64);
    EXPECT_EQ(feed.deliver(samples, {}), Need::drain);
    EXPECT_EQ(feed.deliver(samples, {}), Need::nothing);
    EXPECT_EQ(feed.deliver(samples, {}), Need::nothing);
    int blocks = 0;
    feed.drain([&](const AudioTimeStamp&, AudioBufferList, const AudioTimeStamp&) { ++blocks; });
    EXPECT_EQ(blocks, 3);
    EXPECT_EQ(feed.deliver(samples, {}), Need::drain);
    feed.cancel();
    feed.drain([&](const AudioTimeStamp&, AudioBufferList, const AudioTimeStamp&) { ++blocks; });
    EXPECT_EQ(blocks, 3);
}

TEST(CaptureFeed, AsksOnceForAReportOfWhatIsLost) {
    using Need = CaptureFeed::Need;
    CaptureFeed feed(1, 48000);
    const std::vector<float> samples(4800);
    std::vector<Need> needs;
    while (feed.overrunFrames() < 3 * samples.size())
        needs.push_back(feed.deliver(samples, {}));
    EXPECT_EQ(needs.front(), Need::drain);
    EXPECT_EQ(std::count(needs.begin(), needs.end(), Need::report), 1);
    EXPECT_EQ(needs[needs.size() - 3], Need::report);
    EXPECT_TRUE(feed.takeOverrunReport());
    EXPECT_FALSE(feed.takeOverrunReport());
}

/// A consumer that drains only when asked gets everything, once and in order.
TEST(CaptureFeed, LosesNoWakeUp) {
    constexpr int kBuffers = 20000;
    CaptureFeed feed(1, 48000);
    std::atomic<int> received{0};
    std::atomic<bool> isDrainNeeded{false};
    std::thread consumer([&] {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (received < kBuffers && std::chrono::steady_clock::now() < deadline) {
            if (!isDrainNeeded.exchange(false)) continue;
            feed.drain([&](const AudioTimeStamp&, AudioBufferList input, const AudioTimeStamp&) {
                EXPECT_EQ(*static_cast<const float*>(input.front().data),
                          static_cast<float>(received));
                ++received;
            });
        }
    });
    for (int i = 0; i < kBuffers; ++i) {
        const std::vector<float> samples(16, static_cast<float>(i));
        if (feed.deliver(samples, {}) == CaptureFeed::Need::drain) isDrainNeeded = true;
        // Faster than any device, but not faster than the ring is large.
        while (i - received > 100)
            std::this_thread::yield();
    }
    consumer.join();
    EXPECT_EQ(feed.overrunFrames(), 0U);
    EXPECT_EQ(received, kBuffers);
}

}  // namespace
}  // namespace tapwell::test
