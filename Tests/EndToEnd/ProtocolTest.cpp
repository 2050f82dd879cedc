#include "EndToEnd/RecordingTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using testing::ElementsAre;

const json idle{{"event", "status"}, {"state", "idle"}};
const json recording{{"event", "status"}, {"state", "recording"}};

json finalizedEvent(const std::filesystem::path& path) {
    return {{"event", "finalized"}, {"outputPath", path.string()}};
}

/// The event without the members that differ from run to run.
json fixedPart(json event) {
    event.erase("bytes");
    event.erase("durationMs");
    return event;
}

/// Commands around a recording.
class ProtocolTest : public RecordingTest {
protected:
    void SetUp() override { launch(); }
};

TEST_F(ProtocolTest, WritesStartedAndFinalizedToTheByte) {
    tapwell().sendStart(file());
    std::string escaped;
    for (const char character : file().string()) {
        escaped += character == '/' ? "\\/" : std::string(1, character);
    }
    EXPECT_EQ(tapwell().nextLine(), R"({"event":"started","outputPath":")" + escaped + "\"}");
    letPass(300ms);
    tapwell().sendStop();
    const std::string line = tapwell().nextLine().value_or("");
    EXPECT_THAT(line, testing::StartsWith(R"({"event":"finalized","outputPath":")" + escaped +
                                          R"(","bytes":)"));
    EXPECT_THAT(line, testing::ContainsRegex("\"bytes\":[0-9]+,\"durationMs\":[0-9]+}$"));
}

TEST_F(ProtocolTest, ReportsRecordingWhileItRecords) {
    EXPECT_THAT(tapwell().eventsUntilStatus(), ElementsAre(idle));
    ASSERT_NO_FATAL_FAILURE(start(file()));
    EXPECT_THAT(tapwell().eventsUntilStatus(), ElementsAre(recording));
    letPass(300ms);
    ASSERT_NO_FATAL_FAILURE(stop(file()));
    EXPECT_THAT(tapwell().eventsUntilStatus(), ElementsAre(idle));
}

TEST_F(ProtocolTest, RefusesASecondRecordingAndGoesOnWithTheFirst) {
    ASSERT_NO_FATAL_FAILURE(start(file()));
    tapwell().sendStart(file("second.m4a"));
    const json refusal{{"event", "error"},
                       {"code", "RECORDER_ALREADY_RUNNING"},
                       {"message", "Recording already in progress"}};
    EXPECT_THAT(tapwell().eventsUntilStatus(), ElementsAre(refusal, recording));
    EXPECT_FALSE(std::filesystem::exists(file("second.m4a")));
    letPass(1s);
    ASSERT_NO_FATAL_FAILURE(stop(file()));
    EXPECT_GT(decoded(file()).decodedSeconds(), 0.9);
}

TEST_F(ProtocolTest, SaysNothingToAStopWhileIdle) {
    tapwell().sendStop();
    EXPECT_THAT(tapwell().eventsUntilStatus(), ElementsAre(idle));
    ASSERT_NO_FATAL_FAILURE(record(file(), 300ms));
    tapwell().sendStop();
    EXPECT_THAT(tapwell().eventsUntilStatus(), ElementsAre(idle));
}

TEST_F(ProtocolTest, EndsWithoutFinalizedWhenInputCloses) {
    ASSERT_NO_FATAL_FAILURE(start(file()));
    letPass(1500ms);
    const auto ending = tapwell().endInput();
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->exitStatus, 0);
    EXPECT_EQ(tapwell().nextLine(), std::nullopt);
    EXPECT_GT(decoded(file()).decodedSeconds(), 1.25);
}

TEST_F(ProtocolTest, ShutdownFinalizesAndEnds) {
    ASSERT_NO_FATAL_FAILURE(start(file()));
    letPass(1s);
    tapwell().send({{"cmd", "shutdown"}});
    EXPECT_EQ(fixedPart(tapwell().nextEvent()), finalizedEvent(file()));
    const auto ending = tapwell().waitForEnd();
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->exitStatus, 0);
    EXPECT_EQ(tapwell().nextLine(), std::nullopt);
    EXPECT_GT(decoded(file()).decodedSeconds(), 0.9);
}

TEST_F(ProtocolTest, CarriesOutAWholeRecordingFromOneWrite) {
    const std::string path = file().string();
    tapwell().write("{\"cmd\":\"start\",\"outputPath\":\"" + path +
                    "\"}\n{\"cmd\":\"status\"}\n{\"cmd\":\"stop\"}\n{\"cmd\":\"status\"}\n");
    EXPECT_EQ(tapwell().nextEvent(), (json{{"event", "started"}, {"outputPath", path}}));
    EXPECT_EQ(tapwell().nextEvent(), recording);
    EXPECT_EQ(fixedPart(tapwell().nextEvent()), finalizedEvent(file()));
    EXPECT_EQ(tapwell().nextEvent(), idle);
}

TEST_F(ProtocolTest, ReportsWhatTheServerGrants) {
    const json granted{
        {"event", "permissions"}, {"microphone", "granted"}, {"systemAudio", "granted"}};
    tapwell().send({{"cmd", "checkPermissions"}});
    EXPECT_EQ(tapwell().nextEvent(), granted);
    tapwell().send({{"cmd", "requestSystemAudioPermission"}});
    EXPECT_EQ(tapwell().nextEvent(), granted);
}

TEST_F(ProtocolTest, RecordsToAPathOfAnyCharacters) {
    const auto path = file("häuser \"音\" \\ 🎙.m4a");
    ASSERT_NO_FATAL_FAILURE(record(path, 300ms));
    decoded(path);
}

}  // namespace
}  // namespace tapwell::test
