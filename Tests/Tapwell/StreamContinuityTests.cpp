#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Tapwell/MixBus/DualStreamStereoLRMixer.h"
#include "Tapwell/MixBus/SampleTimeCheck.h"
#include "Tapwell/MixBus/StreamContinuity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace tapwell {
namespace {

constexpr std::int32_t rate = 48000;
constexpr auto system = CaptureStream::system;
constexpr auto microphone = CaptureStream::microphone;

/// Samples are numbered by the moment of their capture, a thousandth each, so that their place can
/// be checked. The stereo layout keeps the sides apart; the microphone's gain is undone.
struct Continuity : testing::Test {
    static constexpr float step = 1.0F / (1 << 20);

    SimulatedStandardStreams streams;
    DualStreamStereoLRMixer mixer{rate, Log(streams, "stereo-lr"), 1};
    StreamContinuity continuity{mixer, rate, Log(streams, "mic-debug")};
    std::vector<float> left;
    std::vector<float> right;
    const DualStreamMixer::EmitFrame emit = [this](MediaTime, const std::vector<float>& frame) {
        for (std::size_t i = 0; i + 1 < frame.size(); i += 2) {
            left.push_back(frame[i]);
            right.push_back(frame[i + 1]);
        }
    };

    void push(CaptureStream stream, std::int64_t first, std::int64_t count,
              bool beginsAnew = false) {
        MixBusChunk chunk;
        for (std::int64_t i = first; i < first + count; ++i)
            chunk.samples.push_back(static_cast<float>(i + 1) * step);
        chunk.presentationTime = MediaTime::make(first, rate);
        chunk.beginsAnew = beginsAnew;
        continuity.push(stream, chunk, emit);
        mixer.drain(emit);
    }
    /// Both streams, from one moment to another.
    void pushBoth(std::int64_t first, std::int64_t end) {
        for (std::int64_t at = first; at < end; at += 480) {
            push(system, at, std::min<std::int64_t>(480, end - at));
            push(microphone, at, std::min<std::int64_t>(480, end - at));
        }
    }
    void begin() {
        // The microphone first, so that nothing goes out alone.
        push(microphone, 0, 480);
        push(system, 0, 480);
        pushBoth(480, 9600);
    }
    void finish() { mixer.flushTail(emit); }
    /// How many samples are silent; the others are where they belong, or this fails.
    static std::int64_t silent(const std::vector<float>& side) {
        std::int64_t count = 0;
        for (std::size_t i = 0; i < side.size(); ++i) {
            if (side[i] == 0)
                ++count;
            else
                EXPECT_EQ(side[i], static_cast<float>(i + 1) * step) << i;
        }
        return count;
    }
    int drifts() const { return streams.countErrorLines("for drift"); }
};

TEST_F(Continuity, StreamsWithoutInterruptionPassUntouched) {
    begin();
    finish();
    EXPECT_EQ(left.size(), 9600U);
    EXPECT_EQ(silent(left) + silent(right), 0);
}

TEST_F(Continuity, AnInterruptionBecomesSilenceOfItsLength) {
    for (const std::int64_t gap : {1, 100, 4096, 11999, 12001, 60000, 480000}) {
        for (const CaptureStream gone : {system, microphone}) {
            left.clear();
            right.clear();
            DualStreamStereoLRMixer fresh{rate, Log(streams, "stereo-lr"), 1};
            StreamContinuity keeper{fresh, rate, Log(streams, "mic-debug")};
            const auto feed = [&](CaptureStream stream, std::int64_t first, bool anew = false) {
                MixBusChunk chunk;
                for (std::int64_t i = first; i < first + 480; ++i)
                    chunk.samples.push_back(static_cast<float>(i + 1) * step);
                chunk.presentationTime = MediaTime::make(first, rate);
                chunk.beginsAnew = anew;
                keeper.push(stream, chunk, emit);
                fresh.drain(emit);
            };
            const CaptureStream stays = gone == system ? microphone : system;
            feed(microphone, 0);
            feed(system, 0);
            std::int64_t at = 480;
            for (; at < 480 + gap; at += 480)
                feed(stays, at);
            feed(gone, 480 + gap, true);
            fresh.flushTail(emit);
            EXPECT_EQ(silent(gone == system ? right : left),
                      gap + std::max<std::int64_t>(at - gap - 960, 0))
                << gap;
            EXPECT_EQ(silent(gone == system ? left : right),
                      std::max<std::int64_t>(960 + gap - at, 0))
                << gap;
        }
    }
    EXPECT_EQ(drifts(), 0);
}

TEST_F(Continuity, WhileOneStreamIsAwayTheOtherFlows) {
    begin();
    for (std::int64_t at = 9600; at < 96000; at += 480)
        push(system, at, 480);
    // A quarter of a second is the mixer's own reach.
    EXPECT_GE(right.size(), 96000U - 12000U - 1024U);
    EXPECT_EQ(drifts(), 0);
}

TEST_F(Continuity, WhatWasHeardAlreadyIsDropped) {
    begin();
    push(microphone, 9600 - 700, 480, true);
    push(microphone, 9600 - 220, 480);
    push(microphone, 9600 + 260, 480);
    push(system, 9600, 740);
    finish();
    EXPECT_EQ(left.size(), 10340U);
    EXPECT_EQ(silent(left) + silent(right), 0);
}

TEST_F(Continuity, AStreamThatReturnsLaterThanItsStandInKeepsItsPlace) {
    begin();
    // The system is a second ahead when the microphone's first audio comes, captured 0.9 s before:
    // the silence that was put in already reaches past its beginning.
    for (std::int64_t at = 9600; at < 57600; at += 480)
        push(system, at, 480);
    for (std::int64_t at = 14400; at < 57600; at += 480)
        push(microphone, at, 480, at == 14400);
    finish();
    EXPECT_EQ(left.size(), 57600U);
    EXPECT_EQ(silent(right), 0);
    EXPECT_EQ(silent(left), 57600 - 12000 - 9600) << "what came too late for its place";
}

TEST_F(Continuity, AStreamThatWasOnlyLateLosesNothingAndTheOtherWaits) {
    begin();
    for (std::int64_t at = 9600; at < 57600; at += 480)
        push(system, at, 480);
    for (std::int64_t at = 9600; at < 57600; at += 480)
        push(microphone, at, 480);
    pushBoth(57600, 72000);
    finish();
    const auto soundsOf = [](const std::vector<float>& side) {
        std::vector<float> sounds;
        std::copy_if(side.begin(), side.end(), std::back_inserter(sounds),
                     [](float sample) { return sample != 0; });
        return sounds;
    };
    EXPECT_EQ(soundsOf(left).size(), 72000U);
    EXPECT_EQ(soundsOf(left), soundsOf(right));
    EXPECT_EQ(left.back(), right.back()) << "together again";
    EXPECT_EQ(streams.countErrorLines("microphone came late; the other stream waits\n"), 1);
}

TEST_F(Continuity, TheLateEndOfWhatWasCapturedBeforeAnInterruptionCostsNoMoreThanItself) {
    begin();
    // The microphone is back after a second; then the system's last cycle before the interruption
    // comes, and only then its first one after it.
    for (std::int64_t at = 57600; at < 72000; at += 480)
        push(microphone, at, 480, at == 57600);
    push(system, 9600, 480);
    for (std::int64_t at = 57600; at < 72000; at += 480)
        push(system, at, 480, at == 57600);
    pushBoth(72000, 96000);
    finish();
    EXPECT_EQ(left.size(), 96000U + 480U) << "the late cycle is there, and all else has its place";
    for (std::size_t i = 96480 - 20000; i < 96480; ++i) {
        ASSERT_EQ(left[i], static_cast<float>(i + 1 - 480) * step);
        ASSERT_EQ(right[i], left[i]);
    }
    EXPECT_EQ(drifts(), 0);
}

TEST_F(Continuity, AnOutageOfBothIsFilledAndCountsWhenTheyReturn) {
    begin();
    continuity.fillUpTo(1.0, emit);
    EXPECT_GE(left.size(), 48000U - 1024U);
    continuity.fillUpTo(1.0, emit);
    continuity.fillUpTo(0.9, emit);
    continuity.fillUpTo(2.0, emit);
    EXPECT_LE(left.size(), 96000U);
    push(system, 100000, 480, true);
    push(microphone, 100100, 380, true);
    finish();
    EXPECT_EQ(left.size(), 100480U);
    EXPECT_EQ(silent(right), 100000 - 9600);
    EXPECT_EQ(silent(left), 100100 - 9600);
    EXPECT_EQ(drifts(), 0);
}

TEST_F(Continuity, AnOutageBeforeAnythingCameIsNotFilled) {
    continuity.fillUpTo(10.0, emit);
    mixer.flushTail(emit);
    EXPECT_TRUE(left.empty());
}

TEST_F(Continuity, WithoutAMicrophoneTheSystemHasItsGapsToo) {
    push(system, 0, 4800);
    push(system, 9600, 4800, true);
    finish();
    EXPECT_EQ(right.size(), 14400U);
    EXPECT_EQ(silent(right), 4800);
}

TEST_F(Continuity, AChunkWithoutATimeFollowsTheLast) {
    begin();
    MixBusChunk chunk;
    chunk.samples.assign(480, 0.5F);
    chunk.presentationTime = MediaTime::invalid();
    chunk.beginsAnew = true;
    continuity.push(microphone, chunk, emit);
    push(microphone, 9600 + 480, 480);
    push(system, 9600, 960);
    finish();
    EXPECT_EQ(left.size(), 10560U);
    EXPECT_EQ(left[9600], 0.5F);
}

TEST_F(Continuity, ATimeThatCannotBeIsNotBelieved) {
    begin();
    for (const double seconds : {-3600.0, 1e9, -1e12, 1e15}) {
        MixBusChunk chunk;
        chunk.samples.assign(480, 0.5F);
        chunk.presentationTime = MediaTime::fromSeconds(seconds, 1000);
        chunk.beginsAnew = true;
        continuity.push(microphone, chunk, emit);
    }
    push(system, 9600, 4 * 480);
    push(microphone, 9600 + 4 * 480, 480);
    push(system, 9600 + 4 * 480, 480);
    finish();
    EXPECT_EQ(left.size(), 9600U + 5 * 480U) << "nothing dropped, and no silence for years";
}

TEST_F(Continuity, ClocksThatDifferAreLeftToTheMixer) {
    begin();
    // The microphone's crystal is so slow that it falls behind by a quarter of a second.
    std::int64_t at = 9600;
    for (int i = 0; i < 400; ++i, at += 480) {
        push(system, at, 480);
        push(microphone, at, 440);
    }
    EXPECT_EQ(streams.countErrorLines("padded mic for drift samples=12000"), 1);
}

TEST(SampleTimes, TellOfLostFrames) {
    SampleTimeCheck check;
    EXPECT_FALSE(check.isAfterLoss(1000, 480));
    EXPECT_FALSE(check.isAfterLoss(1480, 480));
    EXPECT_FALSE(check.isAfterLoss(1961.5, 480)) << "rounded";
    EXPECT_TRUE(check.isAfterLoss(2443.1, 480));
    EXPECT_TRUE(check.isAfterLoss(9000, 480));
    EXPECT_FALSE(check.isAfterLoss(100, 480)) << "another count";
    EXPECT_FALSE(check.isAfterLoss(580, 480));
    EXPECT_FALSE(check.isAfterLoss(std::nullopt, 480));
    EXPECT_FALSE(check.isAfterLoss(9000, 480)) << "nothing to compare with";
}

}  // namespace
}  // namespace tapwell
