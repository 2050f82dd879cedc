#include "Platform/Linux/CaptureTimeline.h"

#include <gtest/gtest.h>

namespace tapwell::test {
namespace {

constexpr std::uint32_t kGraphRate = 48000;
constexpr std::uint64_t kQuantum = 1024;
constexpr std::int64_t kQuantumNanoseconds = 21'333'333;

CaptureCycle cycle(std::int64_t now, std::uint64_t ticks) {
    CaptureCycle result;
    result.nowNanoseconds = now;
    result.ticks = ticks;
    result.rateDenominator = kGraphRate;
    return result;
}

TEST(CaptureTimeline, SubtractsDelayAndWhatIsBuffered) {
    CaptureTimeline timeline(kGraphRate);
    CaptureCycle delayed = cycle(1'000'000'000, 48000);
    delayed.delay = 2464;
    delayed.buffered = 32;
    const CaptureTimes times = timeline.place(delayed, kQuantum);
    EXPECT_EQ(times.cycleHostTime, 1'000'000'000U);
    EXPECT_EQ(times.firstHostTime, 948'000'000U);  // 2496 frames of 48000 are 52 ms
    EXPECT_EQ(times.firstSampleTime, 48000 - 2496);
}

TEST(CaptureTimeline, GoesBackOneCycleForALateBuffer) {
    CaptureTimeline timeline(kGraphRate);
    CaptureCycle late = cycle(1'000'000'000, 48000);
    late.isOneCycleLate = true;
    EXPECT_EQ(timeline.place(late, 480).firstHostTime, 990'000'000U);
}

TEST(CaptureTimeline, CountsFramesThroughLostCycles) {
    CaptureTimeline timeline(kGraphRate);
    const double first = timeline.place(cycle(1'000'000'000, 5000), kQuantum).firstSampleTime;
    const auto second =
        timeline.place(cycle(1'000'000'000 + kQuantumNanoseconds, 5000 + kQuantum), kQuantum);
    EXPECT_EQ(second.firstSampleTime, first + kQuantum);
    const auto afterLoss = timeline.place(
        cycle(1'000'000'000 + 4 * kQuantumNanoseconds, 5000 + 4 * kQuantum), kQuantum);
    EXPECT_EQ(afterLoss.firstSampleTime, first + 4 * kQuantum);
}

TEST(CaptureTimeline, GoesOnByHostTimeWhenAnotherDriverTakesOver) {
    CaptureTimeline timeline(kGraphRate);
    const double first = timeline.place(cycle(1'000'000'000, 900'000), kQuantum).firstSampleTime;
    const auto other = timeline.place(cycle(1'050'000'000, 7), kQuantum);
    EXPECT_EQ(other.firstSampleTime, first + 2400);
    const auto next =
        timeline.place(cycle(1'050'000'000 + kQuantumNanoseconds, 7 + kQuantum), kQuantum);
    EXPECT_EQ(next.firstSampleTime, first + 2400 + kQuantum);
}

/// A graph at 44100 Hz with a stream at 48000 Hz: cycles of 1024 graph frames are 1114 or 1115
/// frames of the stream, and what the resampler holds back varies with them.
TEST(CaptureTimeline, CountsResampledFramesWithoutDrift) {
    CaptureTimeline timeline(48000);
    constexpr double kRatio = 48000.0 / 44100.0;
    double expected = 0;
    std::uint64_t delivered = 0;
    for (std::uint64_t i = 0; i < 2000; ++i) {
        CaptureCycle now = cycle(static_cast<std::int64_t>(static_cast<double>(i) * 1024e9 / 44100),
                                 1024 * i + 100'000);
        now.nowNanoseconds += 1'000'000'000;
        now.rateDenominator = 44100;
        now.isOneCycleLate = true;
        const auto end = static_cast<std::uint64_t>(static_cast<double>((i + 1) * 1024) * kRatio);
        const std::uint64_t frames = end - delivered;
        const CaptureTimes times = timeline.place(now, frames);
        if (i == 0) expected = times.firstSampleTime;
        ASSERT_EQ(times.firstSampleTime, expected) << "cycle " << i;
        expected += static_cast<double>(frames);
        delivered = end;
    }
}

}  // namespace
}  // namespace tapwell::test
