#include "EndToEnd/RecordingTest.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

class SignalTest : public RecordingTest, public testing::WithParamInterface<int> {};

TEST_P(SignalTest, FinalizesTheRecordingAndEnds) {
    launch();
    ASSERT_NO_FATAL_FAILURE(start(file()));
    letPass(1s);
    tapwell().signal(GetParam());
    const nlohmann::json event = tapwell().nextEvent();
    EXPECT_EQ(event.value("event", ""), "finalized") << event;
    const auto ending = tapwell().waitForEnd();
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->exitStatus, 0);

    EXPECT_EQ(event.value("bytes", std::uintmax_t{0}), std::filesystem::file_size(file()));
    const DecodedAudio audio = decoded(file());
    EXPECT_GT(audio.decodedSeconds(), 0.9);
    ASSERT_TRUE(audio.trackSeconds.has_value());
    EXPECT_NEAR(audio.decodedSeconds(), *audio.trackSeconds, 1024.0 / audio.sampleRate);
}

TEST_P(SignalTest, EndsTheIdleProgram) {
    launch();
    ASSERT_EQ(tapwell().eventsUntilStatus().size(), 1U);
    tapwell().signal(GetParam());
    const auto ending = tapwell().waitForEnd();
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->exitStatus, 0);
    EXPECT_EQ(tapwell().nextLine(), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Signals, SignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& test) { return std::string(sigabbrev_np(test.param)); });

class PrivacyTest : public RecordingTest {};

TEST_F(PrivacyTest, OnlyTheOwnerReadsARecording) {
    using std::filesystem::perms;
    launch();
    ASSERT_NO_FATAL_FAILURE(start(file()));
    EXPECT_EQ(std::filesystem::status(file()).permissions(),
              perms::owner_read | perms::owner_write);
    letPass(300ms);
    ASSERT_NO_FATAL_FAILURE(stop(file()));
    EXPECT_EQ(std::filesystem::status(file()).permissions(),
              perms::owner_read | perms::owner_write);
}

}  // namespace
}  // namespace tapwell::test
