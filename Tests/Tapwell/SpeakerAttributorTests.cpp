#include "Tapwell/Transcription/SpeakerAttributor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace tapwell {
namespace {

std::vector<float> block(float level) {
    return std::vector<float>(480, level);
}

/// Levels that have settled at the given values.
void settle(SpeakerAttributor& attributor, float mic, float system) {
    for (int i = 0; i < 200; ++i) {
        attributor.updateMicLevel(block(mic));
        attributor.updateSystemLevel(block(system));
    }
}

TEST(SpeakerAttributor, TheLevelIsTheRootMeanSquare) {
    EXPECT_EQ(SpeakerAttributor::computeRMS({}), 0.0F);
    EXPECT_EQ(SpeakerAttributor::computeRMS(std::vector<float>{-0.5F}), 0.5F);
    EXPECT_FLOAT_EQ(SpeakerAttributor::computeRMS(std::vector<float>{0.3F, -0.4F}),
                    std::sqrt(0.125F));
    EXPECT_FLOAT_EQ(SpeakerAttributor::computeRMS(block(0.25F)), 0.25F);
}

TEST(SpeakerAttributor, TheLouderSourceIsTheSpeaker) {
    SpeakerAttributor attributor;
    settle(attributor, 0.1F, 0.2F);
    EXPECT_EQ(attributor.currentSpeaker(), "Others");
    settle(attributor, 0.2F, 0.1F);
    EXPECT_EQ(attributor.currentSpeaker(), "You");
}

TEST(SpeakerAttributor, SilenceOnBothSidesAndATieCountAsTheLocalSpeaker) {
    SpeakerAttributor attributor;
    EXPECT_EQ(attributor.currentSpeaker(), "You") << "nothing heard yet";
    settle(attributor, 0, 0.0099F);
    EXPECT_EQ(attributor.currentSpeaker(), "You") << "both below the threshold";
    settle(attributor, 0, 0.0101F);
    EXPECT_EQ(attributor.currentSpeaker(), "Others");
    SpeakerAttributor tie;
    settle(tie, 0.2F, 0.2F);
    EXPECT_EQ(tie.currentSpeaker(), "You");
}

TEST(SpeakerAttributor, ALevelFollowsItsBlocksByAFifth) {
    // After one block of 1 against a settled microphone the system's level is 0.2.
    SpeakerAttributor below;
    settle(below, 0.201F, 0);
    below.updateSystemLevel(block(1));
    EXPECT_EQ(below.currentSpeaker(), "You");
    SpeakerAttributor above;
    settle(above, 0.199F, 0);
    above.updateSystemLevel(block(1));
    EXPECT_EQ(above.currentSpeaker(), "Others");
}

TEST(SpeakerAttributor, NothingAndWhatIsNoSoundChangeNoLevel) {
    SpeakerAttributor attributor;
    settle(attributor, 0.1F, 0.2F);
    attributor.updateSystemLevel({});
    attributor.updateMicLevel(block(std::numeric_limits<float>::quiet_NaN()));
    attributor.updateMicLevel(block(std::numeric_limits<float>::infinity()));
    EXPECT_EQ(attributor.currentSpeaker(), "Others");
    settle(attributor, 0.3F, 0.2F);
    EXPECT_EQ(attributor.currentSpeaker(), "You");
}

}  // namespace
}  // namespace tapwell
