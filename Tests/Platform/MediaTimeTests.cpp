#include "Platform/MediaTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tapwell {
namespace {

TEST(MediaTime, SumsStayAtASharedTimescale) {
    const MediaTime sum = MediaTime::make(100, 48000) + MediaTime::make(1024, 48000);
    EXPECT_EQ(sum.value, 1124);
    EXPECT_EQ(sum.timescale, 48000);
    EXPECT_TRUE(sum.isNumeric());
}

TEST(MediaTime, DifferentTimescalesMeetExactlyAtTheCommonOne) {
    const MediaTime sum = MediaTime::make(1, 3) + MediaTime::make(1, 4);
    EXPECT_EQ(sum.value, 7);
    EXPECT_EQ(sum.timescale, 12);
    EXPECT_EQ(sum.flags, MediaTime::kValid);
}

TEST(MediaTime, ACommonTimescaleThatDoesNotFitIsRoundedAndSaysSo) {
    const MediaTime sum = MediaTime::make(1, 2147483647) + MediaTime::make(1, 2147483629);
    EXPECT_EQ(sum.timescale, 2147483647);
    EXPECT_EQ(sum.value, 2);
    EXPECT_NE(sum.flags & MediaTime::kRounded, 0U);
}

TEST(MediaTime, DifferencesMayBeNegative) {
    const MediaTime difference = MediaTime::make(1, 10) - MediaTime::make(1, 2);
    EXPECT_DOUBLE_EQ(difference.seconds(), -0.4);
}

TEST(MediaTime, WhatIsNotNumericStaysSo) {
    EXPECT_FALSE((MediaTime::invalid() + MediaTime::zero()).isValid());
    EXPECT_FALSE((MediaTime::zero() - MediaTime::invalid()).isValid());
    EXPECT_TRUE(std::isnan(MediaTime::invalid().seconds()));
}

TEST(MediaTime, AnOverflowIsInvalid) {
    const MediaTime huge = MediaTime::make(std::numeric_limits<std::int64_t>::max(), 1);
    EXPECT_FALSE((huge + huge).isValid());
}

TEST(MediaTime, SecondsRoundToTheNearestTickAndSaySo) {
    EXPECT_EQ(MediaTime::fromSeconds(0.5, 48000).value, 24000);
    EXPECT_EQ(MediaTime::fromSeconds(0.5, 48000).flags, MediaTime::kValid);
    EXPECT_EQ(MediaTime::fromSeconds(0.26, 10).value, 3);
    EXPECT_NE(MediaTime::fromSeconds(0.26, 10).flags & MediaTime::kRounded, 0U);
    EXPECT_EQ(MediaTime::fromSeconds(-0.25, 10).value, -3);
}

TEST(MediaTime, SecondsThatAreNoTimeAreNotNumeric) {
    EXPECT_FALSE(MediaTime::fromSeconds(std::nan(""), 48000).isValid());
    EXPECT_FALSE(
        MediaTime::fromSeconds(std::numeric_limits<double>::infinity(), 48000).isNumeric());
    EXPECT_FALSE(MediaTime::fromSeconds(1.0, 0).isValid());
}

TEST(MediaTime, ComparesExactlyAcrossTimescales) {
    EXPECT_EQ(compare(MediaTime::make(1, 3), MediaTime::make(2, 6)), 0);
    EXPECT_LT(compare(MediaTime::make(333333333, 1000000000), MediaTime::make(1, 3)), 0);
    EXPECT_GT(compare(MediaTime::make(1, 3), MediaTime::make(-1, 3)), 0);
}

}  // namespace
}  // namespace tapwell
