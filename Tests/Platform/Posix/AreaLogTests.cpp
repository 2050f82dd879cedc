#include "Platform/Posix/AreaLog.h"

#include <gtest/gtest.h>

namespace tapwell {
namespace {

struct ErrorText final : StandardStreams {
    Input readLine() override { return {}; }
    void writeOutput(std::string_view) override { FAIL() << "log lines are no events"; }
    void writeError(std::string_view line) override { text += line; }
    std::string text;
};

TEST(AreaLogTest, WritesLinesOfItsArea) {
    ErrorText streams;
    const auto log = makeAreaLog(streams, "speech");
    log("one");
    log("two");
    EXPECT_EQ(streams.text, "[Tapwell][speech] one\n[Tapwell][speech] two\n");
}

}  // namespace
}  // namespace tapwell
