#include "Support/TapwellProcess.h"
#include "Support/Transcript.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace tapwell::test {
namespace {

std::vector<std::filesystem::path> transcriptFiles() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(TAPWELL_TRANSCRIPTS)) {
        if (entry.path().extension() == ".txt") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string testName(const testing::TestParamInfo<std::filesystem::path>& info) {
    std::string name = info.param.stem().string();
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

std::string shortened(const std::string& text) {
    return text.size() <= 300 ? text : text.substr(0, 300) + "...";
}

/// What the program says to lines that need no audio: it runs without a server, so that nothing
/// but its command loop decides.
class TranscriptTest : public testing::TestWithParam<std::filesystem::path> {
protected:
    TapwellProcess tapwell_{TAPWELL_PROGRAM,
                            {{"PIPEWIRE_REMOTE", "/nonexistent/tapwell"},
                             {"PIPEWIRE_RUNTIME_DIR", std::nullopt},
                             {"XDG_RUNTIME_DIR", std::nullopt}}};
};

TEST_P(TranscriptTest, HoldsToTheByte) {
    for (const Transcript::Step& step : Transcript::ofFile(GetParam()).steps) {
        SCOPED_TRACE(GetParam().filename().string() + ":" + std::to_string(step.lineNumber));
        switch (step.action) {
            case Transcript::Action::write:
                EXPECT_TRUE(tapwell_.write(step.bytes));
                break;
            case Transcript::Action::closeInput:
                tapwell_.closeInput();
                break;
            case Transcript::Action::expectLine: {
                const std::optional<std::string> line = tapwell_.nextLine();
                ASSERT_TRUE(line.has_value()) << "no line came; log:\n"
                                              << tapwell_.standardError().text();
                ASSERT_EQ(shortened(*line), shortened(step.bytes));
                ASSERT_EQ(*line, step.bytes);
                break;
            }
        }
    }
    const auto ending = tapwell_.waitForEnd();
    ASSERT_TRUE(ending.has_value()) << "the program did not end";
    EXPECT_EQ(ending->exitStatus, 0);
    EXPECT_EQ(tapwell_.nextLine(), std::nullopt);
    EXPECT_TRUE(tapwell_.standardOutput().text().empty() ||
                tapwell_.standardOutput().text().ends_with('\n'));
}

INSTANTIATE_TEST_SUITE_P(Protocol, TranscriptTest, testing::ValuesIn(transcriptFiles()), testName);

}  // namespace
}  // namespace tapwell::test
