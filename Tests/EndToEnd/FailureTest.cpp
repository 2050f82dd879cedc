#include "EndToEnd/RecordingTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using testing::HasSubstr;

/// A socket that takes connections and never says a word.
class MuteServer {
public:
    explicit MuteServer(const std::filesystem::path& path)
        : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(descriptor_, 16), 0);
    }
    ~MuteServer() { close(descriptor_); }
    MuteServer(const MuteServer&) = delete;
    MuteServer& operator=(const MuteServer&) = delete;

private:
    int descriptor_;
};

class FailureTest : public RecordingTest {
protected:
    /// The answer to a start that must fail, within two seconds, and leave the program idle.
    json startError(const std::filesystem::path& path) {
        EXPECT_EQ(tapwell().eventsUntilStatus().back().value("state", ""), "idle");
        tapwell().sendStart(path);
        const json event = tapwell().nextEvent(2s);
        EXPECT_EQ(event.value("event", ""), "error") << event;
        EXPECT_EQ(event.value("code", ""), "RECORDER_START_FAILED") << event;
        const std::vector<json> rest = tapwell().eventsUntilStatus();
        EXPECT_EQ(rest.size(), 1U) << "more than one event for one failure";
        EXPECT_EQ(rest.back().value("state", ""), "idle");
        return event;
    }

    /// A failed start says which path and why, and does not spoil the next one.
    void expectRefused(const std::filesystem::path& path, const std::string& reason) {
        const std::string message = startError(path).value("message", "");
        EXPECT_THAT(message, HasSubstr(path.string()));
        EXPECT_THAT(message, HasSubstr(reason));
        ASSERT_NO_FATAL_FAILURE(record(file("next.m4a"), 300ms));
        decoded(file("next.m4a"));
    }
};

TEST_F(FailureTest, NeverTouchesAnExistingFile) {
    launch();
    std::ofstream(file()) << "precious";
    expectRefused(file(), "exists");
    std::ifstream kept(file());
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "precious");
}

TEST_F(FailureTest, NamesAMissingDirectory) {
    launch();
    expectRefused(file("missing/recording.m4a"), "No such file or directory");
    EXPECT_FALSE(std::filesystem::exists(file("missing")));
}

TEST_F(FailureTest, NamesAPathUnderAFile) {
    launch();
    expectRefused("/dev/null/recording.m4a", "Not a directory");
}

TEST_F(FailureTest, NamesADirectoryInTheFilesPlace) {
    launch();
    std::filesystem::create_directory(file());
    expectRefused(file(), "exists");
    EXPECT_TRUE(std::filesystem::is_directory(file()));
}

TEST_F(FailureTest, ReportsAnEmptyPath) {
    launch();
    startError("");
    ASSERT_NO_FATAL_FAILURE(record(file(), 300ms));
}

TEST_F(FailureTest, ReportsThatThereIsNoServer) {
    launchWithoutServer({{"XDG_RUNTIME_DIR", file("nothing").string()},
                         {"PIPEWIRE_RUNTIME_DIR", std::nullopt},
                         {"PIPEWIRE_REMOTE", std::nullopt}});
    startError(file());
    EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(FailureTest, ReportsAServerThatNeverAnswers) {
    const MuteServer server(file("mute"));
    launchWithoutServer({{"PIPEWIRE_REMOTE", file("mute").string()}});
    startError(file());
    EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(FailureTest, ReportsThatThereIsNoSpeaker) {
    launch({"--no-sink"});
    EXPECT_EQ(startError(file()).value("message", ""), "default output device missing");
    EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(FailureTest, ReportsThatThereIsNoMicrophone) {
    launch({"--no-microphone"});
    EXPECT_EQ(startError(file()).value("message", ""), "No default input device available");
    EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(FailureTest, KeepsWhatWasRecordedWhenTheServerDies) {
    launch();
    audio().play({tone(1000, 0.5, 5, 48000), silence(5, 48000)});
    ASSERT_NO_FATAL_FAILURE(start(file()));
    letPass(1500ms);
    audio().killServer();
    letPass(500ms);
    EXPECT_EQ(tapwell().eventsUntilStatus().back().value("state", ""), "recording");
    ASSERT_NO_FATAL_FAILURE(stop(file()));
    EXPECT_GT(decoded(file()).decodedSeconds(), 1.3);
    EXPECT_EQ(tapwell().endInput()->exitStatus, 0);
}

TEST_F(FailureTest, KeepsWhatFitsWhenTheDiskIsFull) {
    constexpr std::size_t limitBytes = 20000;
    launch();
    audio().play({tone(1000, 0.5, 8, 48000), tone(440, 0.05, 8, 48000)});
    ASSERT_NO_FATAL_FAILURE(start(file()));
    tapwell().limitFileSize(limitBytes);
    letPass(4s);
    const json event = tapwell().stop();
    if (event.value("event", "") == "finalized") {
        EXPECT_EQ(event["bytes"], std::filesystem::file_size(file()));
    } else {
        EXPECT_EQ(event.value("code", ""), "RECORDER_FINALIZE_FAILED") << event;
    }
    EXPECT_LE(std::filesystem::file_size(file()), limitBytes);
    EXPECT_THAT(tapwell().standardError().text(), HasSubstr("File too large"));
    // Twelve thousand bytes a second at most: a second and a half of them fit.
    EXPECT_GT(decoded(file()).decodedSeconds(), 1.0);
    EXPECT_EQ(tapwell().endInput()->exitStatus, 0);
}

TEST_F(FailureTest, RecordsOnWhenNobodyReadsItsEvents) {
    launch();
    ASSERT_NO_FATAL_FAILURE(start(file()));
    tapwell().standardOutput().close();
    tapwell().send({{"cmd", "status"}});
    letPass(1500ms);
    tapwell().sendStop();
    const auto ending = tapwell().endInput();
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->exitStatus, 0);
    EXPECT_GT(decoded(file()).decodedSeconds(), 1.4);
}

}  // namespace
}  // namespace tapwell::test
