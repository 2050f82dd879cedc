#include "Support/SimulatedMeeting.h"
#include "Tapwell/Control/TapwellMain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tapwell {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Main : testing::Test, test::SimulatedMeeting {
    SimulatedStandardStreams& streams = host.simulatedStreams;

    void line(const std::string& text) { streams.scriptLine(text); }
    void wait(std::chrono::nanoseconds duration) {
        streams.scriptAction([this, duration] { host.time.advance(duration); });
    }
    void start() { line("{\"cmd\":\"start\",\"outputPath\":\"" + path + "\"}"); }
    int run() { return TapwellMain(host, nullptr).main(); }
    static std::string error(const std::string& code, const std::string& message) {
        return "{\"event\":\"error\",\"code\":\"" + code + "\",\"message\":\"" + message + "\"}";
    }
};

const char* const kStatusIdle = "{\"event\":\"status\",\"state\":\"idle\"}";
const char* const kStatusRecording = "{\"event\":\"status\",\"state\":\"recording\"}";

TEST_F(Main, LinesThatAreNoCommandsYieldNothing) {
    for (const char* nothing : {"", "   ", "\t", "not json", "[1,2]", "[]", "{}", "{\"cmd\":5}",
                                "5", "\"status\"", "{\"cmd\":null}", "{\"cmd\":\"status\""})
        line(nothing);
    line("  {\"cmd\":\"status\"}\r");
    EXPECT_EQ(run(), 0);
    EXPECT_THAT(streams.outputLines(), ElementsAre(kStatusIdle));
    EXPECT_THAT(streams.errorLines(), IsEmpty());
}

TEST_F(Main, StartNeedsAStringPath) {
    line(R"({"cmd":"start"})");
    line(R"({"cmd":"start","outputPath":7})");
    run();
    const std::string expected = error("INVALID_COMMAND", "start requires outputPath");
    EXPECT_THAT(streams.outputLines(), ElementsAre(expected, expected));
}

TEST_F(Main, CommandsAreCaseSensitive) {
    line(R"({"cmd":"Stop"})");
    line(R"({"cmd":""})");
    run();
    EXPECT_THAT(streams.outputLines(),
                ElementsAre(error("INVALID_COMMAND", "Unknown command: Stop"),
                            error("INVALID_COMMAND", "Unknown command: ")));
}

TEST_F(Main, StatusTellsWhetherARecordingRuns) {
    line(R"({"cmd":"status"})");
    start();
    line(R"({"cmd":"status"})");
    wait(1s);
    line(R"({"cmd":"stop"})");
    line(R"({"cmd":"status"})");
    run();
    const auto lines = streams.outputLines();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], kStatusIdle);
    EXPECT_THAT(lines[1], HasSubstr("started"));
    EXPECT_EQ(lines[2], kStatusRecording);
    EXPECT_THAT(lines[3], HasSubstr("finalized"));
    EXPECT_EQ(lines[4], kStatusIdle);
}

TEST_F(Main, TheEndOfInputEndsWithoutStopping) {
    start();
    wait(1s);
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(streams.outputLines().size(), 1U) << "no finalized event";
    EXPECT_EQ(host.writers.script.finishCalls, 0);
}

TEST_F(Main, ShutdownStopsARecordingAndEnds) {
    start();
    wait(1s);
    line(R"({"cmd":"shutdown"})");
    line(R"({"cmd":"status"})");
    EXPECT_EQ(run(), 0);
    const auto lines = streams.outputLines();
    ASSERT_EQ(lines.size(), 2U) << "nothing is read after shutdown";
    EXPECT_THAT(lines[1], HasSubstr("finalized"));
}

TEST_F(Main, ShutdownWhileIdleEnds) {
    line(R"({"cmd":"shutdown"})");
    line(R"({"cmd":"status"})");
    EXPECT_EQ(run(), 0);
    EXPECT_THAT(streams.outputLines(), IsEmpty());
}

TEST_F(Main, ARequestToTerminateStopsARecordingAndEnds) {
    start();
    wait(1s);
    streams.scriptTermination();
    line(R"({"cmd":"status"})");
    EXPECT_EQ(run(), 0);
    const auto lines = streams.outputLines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[1], HasSubstr("finalized"));
}

TEST_F(Main, PermissionCommandsAnswerOnce) {
    host.simulatedAuthorization.microphone = 0;
    host.simulatedAuthorization.preflight = 2;
    line(R"({"cmd":"checkPermissions"})");
    line(R"({"cmd":"requestSystemAudioPermission"})");
    run();
    const std::string expected =
        "{\"event\":\"permissions\",\"microphone\":\"not-determined\",\"systemAudio\":"
        "\"not-determined\"}";
    EXPECT_THAT(streams.outputLines(), ElementsAre(expected, expected));
    EXPECT_EQ(host.hardware.countCalls("createProcessTap"), 1) << "the request alone records";
}

TEST_F(Main, AFailedStartIsReportedOnceAndTheNextOneWorks) {
    streams.scriptAction([this] { host.hardware.failNext("createProcessTap", -5); });
    start();
    start();
    run();
    const auto lines = streams.outputLines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], error("RECORDER_START_FAILED", "audio tap create OSStatus -5"));
    EXPECT_THAT(lines[1], HasSubstr("started"));
}

}  // namespace
}  // namespace tapwell
