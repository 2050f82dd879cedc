#include "RecorderMixBus/StereoMergeMath.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace tapwell {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(StereoMergeMath, EmptyInputsGiveAnEmptyResult) {
    EXPECT_THAT(StereoMergeMath::interleaveStereoLR({}, {}), IsEmpty());
    EXPECT_THAT(StereoMergeMath::interleaveStereoLRWithMicPreamp({}, {}, 6.0F), IsEmpty());
}

TEST(StereoMergeMath, LeftIsTheMicrophoneRightTheSystem) {
    EXPECT_THAT(
        StereoMergeMath::interleaveStereoLR(std::vector{0.1F, 0.2F}, std::vector{0.3F, 0.4F}),
        ElementsAre(0.3F, 0.1F, 0.4F, 0.2F));
}

TEST(StereoMergeMath, EachSideIsClippedAndNoneIsWeighted) {
    EXPECT_THAT(
        StereoMergeMath::interleaveStereoLR(std::vector{-2.0F, 1.0F}, std::vector{1.5F, -1.0F}),
        ElementsAre(1.0F, -1.0F, -1.0F, 1.0F));
}

TEST(StereoMergeMath, ThePreampIsForTheMicrophoneAlone) {
    const auto pairs = StereoMergeMath::interleaveStereoLRWithMicPreamp(
        std::vector{0.5F, -2.0F}, std::vector{0.5F, 0.1F}, 6.0F);
    EXPECT_EQ(pairs[0], 1.0F);
    EXPECT_EQ(pairs[1], 0.5F);
    EXPECT_FLOAT_EQ(pairs[2], 0.6F);
    EXPECT_EQ(pairs[3], -1.0F);
}

TEST(StereoMergeMath, ThePreampIsClamped) {
    const auto left = [](float preamp) {
        return StereoMergeMath::interleaveStereoLRWithMicPreamp(std::vector{0.0F},
                                                                std::vector{0.1F}, preamp)[0];
    };
    EXPECT_EQ(left(0.0F), left(1.0F));
    EXPECT_EQ(left(9.0F), left(8.0F));
    EXPECT_EQ(left(std::numeric_limits<float>::quiet_NaN()), left(8.0F));
}

TEST(StereoMergeMathDeathTest, UnequalLengthsEndTheProcess) {
    EXPECT_DEATH(StereoMergeMath::interleaveStereoLR(std::vector{1.0F}, {}), "differ in length");
}

}  // namespace
}  // namespace tapwell
