#include "CaptureRecorder.h"
#include "HardwareReader.h"
#include "Platform/Linux/PipeWireAudioHardware.h"
#include "Support/PrivateAudioServer.h"
#include "Support/TemporaryDirectory.h"
#include "SystemTap.h"

#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kDefaultSink = kAudioHardwarePropertyDefaultOutputDevice;

void ignoreLine(const std::string&) {}

/// Leads PipeWire's clients to a directory while it lives.
class RuntimeDirectory {
public:
    explicit RuntimeDirectory(const std::filesystem::path& directory) {
        unsetenv("PIPEWIRE_REMOTE");
        setenv("PIPEWIRE_RUNTIME_DIR", directory.c_str(), 1);
    }
    ~RuntimeDirectory() { unsetenv("PIPEWIRE_RUNTIME_DIR"); }
    RuntimeDirectory(const RuntimeDirectory&) = delete;
    RuntimeDirectory& operator=(const RuntimeDirectory&) = delete;
};

/// A socket that takes connections and never says anything.
class MuteSocket {
public:
    explicit MuteSocket(const std::filesystem::path& path)
        : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            listen(descriptor_, 8) != 0)
            throw std::runtime_error("cannot listen at " + path.string());
    }
    ~MuteSocket() { close(descriptor_); }
    MuteSocket(const MuteSocket&) = delete;
    MuteSocket& operator=(const MuteSocket&) = delete;

private:
    int descriptor_;
};

TEST(PipeWireFailures, WithoutAServerReadsFailFast) {
    const TemporaryDirectory directory;
    const RuntimeDirectory runtime(directory.path());
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const auto begin = Clock::now();
    EXPECT_EQ(reader.status(kAudioObjectSystemObject, kDefaultSink), kAudioHardwareNotRunningError);
    EXPECT_EQ(reader.status(kAudioObjectSystemObject, kDefaultSink), kAudioHardwareNotRunningError);
    AudioObjectID tap = kAudioObjectUnknown;
    EXPECT_EQ(hardware.createProcessTap({}, tap), kAudioHardwareNotRunningError);
    EXPECT_FALSE(hardware.isAccessRefused());
    EXPECT_LT(Clock::now() - begin, 500ms);
}

TEST(PipeWireFailures, AServerThatNeverAnswersIsGivenUp) {
    const TemporaryDirectory directory;
    const MuteSocket socket(directory / "pipewire-0");
    const RuntimeDirectory runtime(directory.path());
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const auto begin = Clock::now();
    EXPECT_EQ(reader.status(kAudioObjectSystemObject, kDefaultSink), kAudioHardwareNotRunningError);
    const auto elapsed = Clock::now() - begin;
    EXPECT_GT(elapsed, 900ms);
    EXPECT_LT(elapsed, 1200ms);
    // It is left alone for a while.
    EXPECT_EQ(reader.status(kAudioObjectSystemObject, kDefaultSink), kAudioHardwareNotRunningError);
    EXPECT_LT(Clock::now() - begin, 1300ms);
}

/// Files are opened with this thread's file-system user, which is another one meanwhile.
class OtherUser {
public:
    OtherUser() : previous_(setfsuid(65534)) {}
    ~OtherUser() { setfsuid(static_cast<uid_t>(previous_)); }
    OtherUser(const OtherUser&) = delete;
    OtherUser& operator=(const OtherUser&) = delete;

private:
    int previous_;
};

TEST(PipeWireFailures, RefusedAccessIsAPermissionError) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    AudioObjectID tap = kAudioObjectUnknown;
    {
        const OtherUser user;
        EXPECT_TRUE(hardware.isAccessRefused());
        EXPECT_EQ(hardware.createProcessTap({}, tap), kAudioDevicePermissionsError);
    }
    EXPECT_FALSE(hardware.isAccessRefused());
    EXPECT_EQ(hardware.createProcessTap({}, tap), noErr);
}

std::size_t entryCount(const char* directory) {
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

TEST(PipeWireFailures, RoundsLeaveNothingBehind) {
    const PrivateAudioServer server;
    const auto round = [] {
        PipeWireAudioHardware hardware(ignoreLine);
        const HardwareReader reader(hardware);
        const SystemTap system(hardware, "out-a");
        const CaptureRecorder recorder(hardware, system.device());
        const CaptureRecorder microphone(hardware, reader.defaultSource());
        EXPECT_TRUE(recorder.waitForFrames(2048) && microphone.waitForFrames(2048));
    };
    round();
    const std::size_t descriptors = entryCount("/proc/self/fd");
    const std::size_t threads = entryCount("/proc/self/task");
    for (int i = 0; i < 10; ++i)
        round();
    EXPECT_EQ(entryCount("/proc/self/fd"), descriptors);
    EXPECT_EQ(entryCount("/proc/self/task"), threads);
}

TEST(PipeWireFailures, WithoutASessionManagerAProcedureIsSilent) {
    const PrivateAudioServer server({.hasSessionManager = false});
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const CaptureRecorder recorder(hardware, reader.defaultSource());
    EXPECT_FALSE(recorder.waitForFrames(1, 300ms));
}

}  // namespace
}  // namespace tapwell::test
