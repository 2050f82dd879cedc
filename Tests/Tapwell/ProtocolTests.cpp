#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Tapwell/Protocol/CommandLine.h"
#include "Tapwell/Protocol/EventEmitter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tapwell {
namespace {

struct Events : testing::Test {
    SimulatedStandardStreams streams;
    EventEmitter events{streams};
};

TEST_F(Events, EverySlashIsEscaped) {
    events.emitEvent(StartedEvent{"/a/b c/upload_audio.m4a"});
    EXPECT_EQ(streams.output(),
              "{\"event\":\"started\",\"outputPath\":\"\\/a\\/b c\\/upload_audio.m4a\"}\n");
}

TEST_F(Events, MembersComeInTheirOrder) {
    events.emitEvent(StatusEvent{"idle"});
    events.emitEvent(FinalizedEvent{"x", 12, 34});
    events.emitEvent(PermissionsEvent{"granted", "not-determined"});
    events.emitEvent(ErrorEvent{"CODE", "text"});
    EXPECT_EQ(streams.output(),
              "{\"event\":\"status\",\"state\":\"idle\"}\n"
              "{\"event\":\"finalized\",\"outputPath\":\"x\",\"bytes\":12,\"durationMs\":34}\n"
              "{\"event\":\"permissions\",\"microphone\":\"granted\",\"systemAudio\":"
              "\"not-determined\"}\n"
              "{\"event\":\"error\",\"code\":\"CODE\",\"message\":\"text\"}\n");
}

TEST_F(Events, AnEmptyRecordingHasIntegerZeros) {
    events.emitEvent(FinalizedEvent{"x", 0, 0});
    EXPECT_EQ(streams.output(),
              "{\"event\":\"finalized\",\"outputPath\":\"x\",\"bytes\":0,\"durationMs\":0}\n");
}

TEST_F(Events, ATranscriptWithoutASpeakerHasThreeKeys) {
    events.emitEvent(TranscriptEvent{"hello", false, std::nullopt});
    events.emitEvent(TranscriptEvent{"hello", true, "You"});
    EXPECT_EQ(streams.output(),
              "{\"event\":\"transcript\",\"text\":\"hello\",\"isFinal\":false}\n"
              "{\"event\":\"transcript\",\"text\":\"hello\",\"isFinal\":true,\"speaker\":"
              "\"You\"}\n");
}

TEST_F(Events, ControlCharactersAreEscapedAndOtherTextIsUtf8) {
    events.emitEvent(StartedEvent{"a\"b\\c\n\t\x01\x1f\u00e4\u65e5\U0001F3A4"});
    EXPECT_EQ(streams.output(),
              "{\"event\":\"started\",\"outputPath\":\"a\\\"b\\\\c\\n\\t\\u0001\\u001f"
              "\u00e4\u65e5\U0001F3A4\"}\n");
}

TEST_F(Events, TextThatIsNoUtf8DropsTheEvent) {
    events.emitEvent(StartedEvent{"\xff\xfe"});
    EXPECT_EQ(streams.output(), "");
    events.emitEvent(StatusEvent{"idle"});
    EXPECT_EQ(streams.outputLines().size(), 1U);
}

TEST(CommandLine, ReadsTheTwoMembers) {
    const auto command = parseCommand(R"({"cmd":"start","outputPath":"\/a\/\u00e4"})");
    ASSERT_TRUE(command);
    EXPECT_EQ(command->cmd, "start");
    EXPECT_EQ(command->outputPath, "/a/\u00e4");
}

TEST(CommandLine, WhiteSpaceAroundIsAccepted) {
    for (const char* line :
         {"  {\"cmd\":\"x\"}  ", "\t{ \"cmd\" : \"x\" }\r", "\u00A0{\"cmd\":\"x\"}\u3000"})
        EXPECT_TRUE(parseCommand(line)) << line;
}

TEST(CommandLine, WhatIsNoCommandIsIgnored) {
    for (const char* line : {"",
                             "   ",
                             "hello",
                             "[]",
                             "[{\"cmd\":\"x\"}]",
                             "{}",
                             "{\"cmd\":5}",
                             "{\"cmd\":null}",
                             "{\"cmd\":[\"stop\"]}",
                             "{\"cmd\":{\"cmd\":\"stop\"}}",
                             "{\"cmd\":\"x\"",
                             "{\"cmd\":\"x\"} y",
                             "{\"CMD\":\"x\"}",
                             "\"cmd\"",
                             "{'cmd':'x'}",
                             "{\"cmd\":\"\xff\"}",
                             "{\"cmd\":\"x\",}",
                             "{\"a\":{\"cmd\":\"x\"}}",
                             "nul",
                             "{\"cmd\":\"x\"}{\"cmd\":\"y\"}"})
        EXPECT_FALSE(parseCommand(line)) << line;
}

TEST(CommandLine, EscapesAreReadAsTheirCharacters) {
    const auto command =
        parseCommand(R"({"cm\u0064":"\"\\\/\b\f\n\r\t\u0001\u00E4\u65e5\uD83C\uDFA4"})");
    ASSERT_TRUE(command);
    EXPECT_EQ(command->cmd, "\"\\/\b\f\n\r\t\x01\u00e4\u65e5\U0001F3A4");
}

TEST(CommandLine, TextThatIsNoCharacterMakesALineUnreadable) {
    for (const char* text :
         {R"(\x)", R"(\u12)", R"(\u12g4)", R"(\uD83C)", R"(\uDFA4)", R"(\uD83C\u0041)",
          R"(\uD83Cx)", "\t", "\x1f", "\x80", "\xC3", "\xC0\xAF", "\xE0\x80\x80", "\xED\xA0\x80",
          "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80"})
        for (const char* member : {"cmd", "x"}) {
            const std::string value = std::string(":\"") + text + "\"";
            EXPECT_FALSE(
                parseCommand("{\"" + std::string(member) + "\"" + value + ",\"cmd\":\"x\"}"))
                << testing::PrintToString(text);
        }
}

TEST(CommandLine, NumbersAreReadByTheGrammarAlone) {
    for (const char* number :
         {"0", "-0", "10", "0.5", "-1.25e+10", "1E-3", "1e999", "123456789012345678901234567890"})
        EXPECT_TRUE(parseCommand(std::string(R"({"cmd":"x","n":)") + number + "}")) << number;
    for (const char* number :
         {"01", "+1", ".5", "1.", "-", "1e", "1e+", "0x1", "NaN", "Infinity", "--1"})
        EXPECT_FALSE(parseCommand(std::string(R"({"cmd":"x","n":)") + number + "}")) << number;
}

TEST(CommandLine, EveryBeginningOfALineIsUnreadable) {
    const std::string line =
        R"({"cmd":"start","x":[1.5e3,true,false,null,{"y":"\u00e4"}],"outputPath":"\/a"})";
    ASSERT_TRUE(parseCommand(line));
    for (std::size_t length = 0; length < line.size(); ++length)
        EXPECT_FALSE(parseCommand(line.substr(0, length))) << length;
}

TEST(CommandLine, AByteOrderMarkIsOverlooked) {
    EXPECT_EQ(parseCommand("\xEF\xBB\xBF {\"cmd\":\"x\"}")->cmd, "x");
}

TEST(CommandLine, NulBytesMakeALineUnreadable) {
    EXPECT_FALSE(parseCommand(std::string_view("{\"cmd\":\0\"x\"}", 12)));
    EXPECT_FALSE(parseCommand(std::string_view("\0{\"cmd\":\"x\"}", 12)));
}

TEST(CommandLine, OtherMembersAndWrongTypesCountAsAbsent) {
    const auto command =
        parseCommand(R"({"x":[1,{"cmd":"no"}],"outputPath":7,"cmd":"start","y":1.5e3,"z":true})");
    ASSERT_TRUE(command);
    EXPECT_EQ(command->cmd, "start");
    EXPECT_FALSE(command->outputPath);
}

TEST(CommandLine, TheLastOfDuplicateMembersCounts) {
    EXPECT_EQ(parseCommand(R"({"cmd":"a","cmd":"b"})")->cmd, "b");
    EXPECT_FALSE(parseCommand(R"({"cmd":"a","cmd":1})"));
}

TEST(CommandLine, DeepNestingIsRefusedWithoutHarm) {
    const std::string open(5'000'000, '[');
    EXPECT_FALSE(parseCommand(open));
    const std::string deep =
        "{\"x\":" + std::string(600, '[') + std::string(600, ']') + ",\"cmd\":\"status\"}";
    EXPECT_FALSE(parseCommand(deep));
    const std::string fair =
        "{\"x\":" + std::string(400, '[') + std::string(400, ']') + ",\"cmd\":\"status\"}";
    EXPECT_TRUE(parseCommand(fair));
}

}  // namespace
}  // namespace tapwell
