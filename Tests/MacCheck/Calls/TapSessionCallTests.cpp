#include "Platform/Simulated/SimulatedEnvironment.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Platform/macOS/CoreAudioHardware.h"
#include "Platform/macOS/DispatchQueueFactory.h"
#include "Tapwell/Capture/RecorderCoreAudioError.h"
#include "Tapwell/Capture/SystemAudioTapSession.h"

// Behind the headers of the seam, some of whose names it defines as macros.
#include "Fakes/FakeSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tapwell {
namespace {

using maccheck::FakeSystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

/// The recorder's own tap session on this host, down to the system's calls.
struct TapSessionCallTest : testing::Test {
    TapSessionCallTest() {
        fake.reset();
        fake.properties[{1, ::kAudioHardwarePropertyDefaultSystemOutputDevice}] = std::uint32_t{7};
        fake.properties[{7, ::kAudioDevicePropertyDeviceUID}] = std::string("speaker");
        fake.properties[{1, ::kAudioHardwarePropertyTranslatePIDToProcessObject}] =
            std::uint32_t{55};
    }

    /// Records for a moment; what is left of it afterwards, as calls.
    void record() {
        CoreAudioHardware hardware;
        DispatchQueueFactory queues;
        SimulatedEnvironment environment;
        SimulatedStandardStreams streams;
        const auto queue = queues.makeSerialQueue("tap");
        const auto session =
            SystemAudioTapSession::create(hardware, environment, Log(streams, "system-tap"));
        try {
            session->prepareExcludeTapwellPid();
            session->run(queue, *session->tapAVFormat(), nullptr,
                         [this](const PcmBuffer&, const AudioTimeStamp&) { ++cycles; });
            hasRun = true;
            std::vector<float> frames(16);
            const ::AudioBufferList input{1, {{2, 64, frames.data()}}};
            fake.cycle(input, ::AudioTimeStamp{});
        } catch (const RecorderCoreAudioError& error) {
            thrown = error.what();
        }
        session->stopAndTeardown();
        fake.drain();
    }

    std::vector<std::string> callsThatChange() const {
        std::vector<std::string> result;
        for (const std::string& call : fake.calls)
            if (call.find("GetProperty") == std::string::npos) result.push_back(call);
        return result;
    }

    FakeSystem& fake = FakeSystem::get();
    int cycles = 0;
    bool hasRun = false;
    std::string thrown;
};

TEST_F(TapSessionCallTest, BuildsInOrderAndTakesDownInReverse) {
    record();
    EXPECT_TRUE(hasRun) << thrown;
    EXPECT_EQ(cycles, 1);
    EXPECT_THAT(fake.lastTap, MatchesRegex(R"("Tolvane Recorder Tap" [0-9A-F-]{36} )"
                                           R"(but \[55\] mute 0)"));
    EXPECT_THAT(callsThatChange(),
                ElementsAre("AudioHardwareCreateProcessTap", "AudioHardwareCreateAggregateDevice",
                            "AudioDeviceCreateIOProcIDWithBlock 102", "AudioDeviceStart 102",
                            "AudioDeviceStop 102", "AudioDeviceDestroyIOProcID 102",
                            "AudioHardwareDestroyAggregateDevice 102",
                            "AudioHardwareDestroyProcessTap 101"));
    EXPECT_TRUE(fake.isClean()) << fake.liveObjects << " references left";
}

/// The name of a function of the system that fails.
struct TapSessionFailureTest : TapSessionCallTest, testing::WithParamInterface<const char*> {};

TEST_P(TapSessionFailureTest, NothingIsLeft) {
    fake.failures[GetParam()] = tapwell::kAudioHardwareUnspecifiedError;
    record();
    EXPECT_THAT(fake.violations, IsEmpty());
    EXPECT_TRUE(fake.isClean()) << fake.liveObjects << " references left";
    const std::string function = GetParam();
    const bool isOfTheWayDown =
        function.find("Destroy") != std::string::npos || function.find("Stop") != std::string::npos;
    EXPECT_EQ(hasRun, isOfTheWayDown);
    EXPECT_EQ(thrown.empty(), isOfTheWayDown);
}

INSTANTIATE_TEST_SUITE_P(
    EveryStep, TapSessionFailureTest,
    testing::Values("AudioObjectGetPropertyDataSize", "AudioObjectGetPropertyData",
                    "AudioHardwareCreateProcessTap", "AudioHardwareCreateAggregateDevice",
                    "AudioDeviceCreateIOProcIDWithBlock", "AudioDeviceStart", "AudioDeviceStop",
                    "AudioDeviceDestroyIOProcID", "AudioHardwareDestroyAggregateDevice",
                    "AudioHardwareDestroyProcessTap"),
    [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace tapwell
