#include "Fakes/FakeSystem.h"
#include "Platform/macOS/MacAuthorization.h"
#include "Platform/macOS/MacUserDefaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace tapwell {
namespace {

using maccheck::FakeSystem;
using testing::Each;
using testing::ElementsAre;
using testing::Pair;

struct AuthorizationCallTest : testing::Test {
    AuthorizationCallTest() { fake.reset(); }
    ~AuthorizationCallTest() override {
        EXPECT_TRUE(fake.isClean()) << fake.liveObjects << " objects left";
    }
    FakeSystem& fake = FakeSystem::get();
    MacAuthorization authorization;
    MacUserDefaults defaults;
};

TEST_F(AuthorizationCallTest, NumbersTheStatesAsTheSystemDoes) {
    std::vector<long> states;
    for (fake.microphoneStatus = 0; fake.microphoneStatus < 4; ++fake.microphoneStatus)
        states.push_back(authorization.microphoneStatus());
    EXPECT_THAT(states, ElementsAre(Authorization::kNotDetermined, Authorization::kRestricted,
                                    Authorization::kDenied, Authorization::kAuthorized));
    EXPECT_THAT(fake.calls, Each("+[AVCaptureDevice authorizationStatusForMediaType:] \"soun\""));
}

TEST_F(AuthorizationCallTest, AnswersLaterAndOnceWithWhatTheUserSaid) {
    for (const bool isGranted : {true, false}) {
        fake.grantsMicrophone = isGranted;
        std::vector<bool> answers;
        authorization.requestMicrophoneAccess([&](bool granted) { answers.push_back(granted); });
        EXPECT_TRUE(answers.empty()) << "it answers on another queue";
        fake.drain();
        EXPECT_THAT(answers, ElementsAre(isGranted));
    }
    EXPECT_THAT(fake.calls, Each("+[AVCaptureDevice requestAccessForMediaType:] \"soun\""));
}

TEST_F(AuthorizationCallTest, TheAnswerLetsGoOfWhatWaitedForIt) {
    const auto waiting = std::make_shared<int>(0);
    authorization.requestMicrophoneAccess([waiting](bool) { ++*waiting; });
    EXPECT_EQ(waiting.use_count(), 2);
    fake.drain();
    EXPECT_EQ(waiting.use_count(), 1);
    EXPECT_EQ(*waiting, 1);
}

TEST_F(AuthorizationCallTest, KnowsNothingOfSystemAudioWithoutThePermissionService) {
    EXPECT_EQ(authorization.systemAudioPreflight(), std::nullopt);
}

TEST_F(AuthorizationCallTest, ReadsAndWritesTheUsersDefaults) {
    EXPECT_FALSE(defaults.boolForKey("asked"));
    defaults.setBool(true, "asked");
    defaults.setBool(false, "\u00fcber");
    EXPECT_TRUE(defaults.boolForKey("asked"));
    EXPECT_FALSE(defaults.boolForKey("\u00fcber"));
    EXPECT_THAT(fake.defaults, ElementsAre(Pair("asked", true), Pair("\u00fcber", false)));
}

}  // namespace
}  // namespace tapwell
