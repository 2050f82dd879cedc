#include "Platform/macOS/ProcessTap.h"

// Behind the headers of the seam, some of whose names it defines as macros.
#include "Fakes/FakeSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tapwell {
namespace {

using maccheck::FakeSystem;
using testing::ElementsAre;

constexpr const char* kUuid = "9C1B1F1E-7B0E-4C7B-8B5D-0123456789AB";

TapDescription describe(std::vector<AudioObjectID> processes) {
    TapDescription description =
        TapDescription::stereoGlobalTapButExcludeProcesses(std::move(processes));
    description.name = "the t\u00e4p";
    description.uuid = kUuid;
    return description;
}

struct ProcessTapCallTest : testing::Test {
    ProcessTapCallTest() { fake.reset(); }
    ~ProcessTapCallTest() override {
        EXPECT_TRUE(fake.isClean()) << fake.liveObjects << " objects left";
    }
    FakeSystem& fake = FakeSystem::get();
};

TEST_F(ProcessTapCallTest, HandsTheDescriptionOn) {
    AudioObjectID tap = 0;
    ASSERT_EQ(createProcessTap(describe({55, 0xFFFFFFFFu}), tap), 0);
    EXPECT_EQ(fake.lastTap,
              std::string("\"the t\u00e4p\" ") + kUuid + " but [55, 4294967295] mute 0");
    EXPECT_EQ(tap, 101u);
    EXPECT_EQ(destroyProcessTap(tap), 0);
    EXPECT_THAT(fake.calls,
                ElementsAre("AudioHardwareCreateProcessTap", "AudioHardwareDestroyProcessTap 101"));
}

TEST_F(ProcessTapCallTest, TellsHowItMutes) {
    for (const auto mute :
         {TapDescription::MuteBehavior::muted, TapDescription::MuteBehavior::mutedWhenTapped}) {
        TapDescription description = describe({});
        description.muteBehavior = mute;
        AudioObjectID tap = 0;
        ASSERT_EQ(createProcessTap(description, tap), 0);
        EXPECT_EQ(fake.lastTap, std::string("\"the t\u00e4p\" ") + kUuid + " but [] mute " +
                                    std::to_string(int(mute)));
        destroyProcessTap(tap);
    }
}

TEST_F(ProcessTapCallTest, LeavesTheSystemsOwnUuidWhereItHasNone) {
    TapDescription description = describe({});
    description.uuid = "none";
    AudioObjectID tap = 0;
    ASSERT_EQ(createProcessTap(description, tap), 0);
    EXPECT_EQ(fake.lastTap, "\"the t\u00e4p\" the system's own but [] mute 0");
    destroyProcessTap(tap);
}

TEST_F(ProcessTapCallTest, AFailureLeavesTheOutputAlone) {
    fake.failures = {{"AudioHardwareCreateProcessTap", -66},
                     {"AudioHardwareDestroyProcessTap", -67}};
    AudioObjectID tap = 99;
    EXPECT_EQ(createProcessTap(describe({1}), tap), -66);
    EXPECT_EQ(tap, 99u);
    fake.taps.insert(99);
    EXPECT_EQ(destroyProcessTap(99), -67);
}

}  // namespace
}  // namespace tapwell
