#include "Support/Pcm16Wav.h"
#include "Support/SimulatedMeeting.h"
#include "Tapwell/Control/AudioRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <filesystem>
#include <fstream>

namespace tapwell {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kHours = 10;
constexpr std::int64_t kFramesPerCycle = 4800;
constexpr std::int64_t kFrames = kHours * 3600 * 48000;
constexpr std::int64_t kCycles = kFrames / kFramesPerCycle;

/// One of the recorder's modes, by the variables that choose it.
struct Mode {
    const char* name;
    std::vector<std::string> switches;

    friend void PrintTo(const Mode& mode, std::ostream* out) { *out << mode.name; }
};

/// A meeting of ten hours, most of it silence, with a sound in every minute.
class TenHours : public testing::TestWithParam<Mode> {
protected:
    TenHours() {
        for (SimulatedDevice* device : {&meeting_.speakerDevice(), &meeting_.microphoneDevice()}) {
            device->framesPerCycle = kFramesPerCycle;
            device->isAudible = [](double seconds) { return std::fmod(seconds, 60) < 0.05; };
        }
        for (const std::string& name : GetParam().switches)
            meeting_.host.simulatedEnvironment.variables[name] = "1";
        meeting_.host.writers.script.keepsSamples = false;
        meeting_.host.simulatedStreams.outputReader = [this](std::string_view bytes) {
            if (bytes.starts_with("TLPC"))
                streamedBytes_ += static_cast<std::int64_t>(bytes.size()) - 8;
            else
                events_.emplace_back(bytes);
        };
    }

    void record() {
        AudioRecorder recorder(meeting_.recorderServices());
        recorder.start(meeting_.path);
        meeting_.host.time.advance(1h);
        const std::size_t early = bytesInUse();
        meeting_.host.time.advance(std::chrono::hours(kHours - 2));
        const std::size_t late = bytesInUse();
        meeting_.host.time.advance(1h);
        recorder.stop();
        RecordProperty("earlyBytes", std::to_string(early));
        RecordProperty("lateBytes", std::to_string(late));
        EXPECT_NEAR(static_cast<double>(late), static_cast<double>(early), 32768);
    }
    /// On the heap, but for the log that the simulated host keeps.
    std::size_t bytesInUse() const {
        const struct mallinfo2 heap = mallinfo2();
        const auto& log = meeting_.host.simulatedStreams.errorLines();
        std::size_t logBytes = log.capacity() * sizeof(std::string);
        for (const std::string& line : log)
            logBytes += line.capacity() + 1 + sizeof(std::size_t);
        return heap.uordblks + heap.hblkhd - logBytes;
    }
    int logged(const std::string& text) const { return meeting_.logged(text); }

    test::SimulatedMeeting meeting_;
    std::vector<std::string> events_;
    std::int64_t streamedBytes_ = 0;
};

TEST_P(TenHours, AreCountedToTheFrameInMemoryThatDoesNotGrow) {
    record();
    const bool streams = std::string(GetParam().name) == "Stream";
    EXPECT_EQ(streams ? streamedBytes_ / 4 : meeting_.host.writers.script.frames, kFrames);
    // The start waited for the first cycle of both devices.
    EXPECT_THAT(events_.back(), testing::HasSubstr("\"durationMs\":36000100}"));
    const std::string cycles = std::to_string(kCycles);
    EXPECT_EQ(logged("mic callbacks=" + cycles), 1);
    EXPECT_EQ(logged("system callbacks=" + cycles), 1);
    EXPECT_EQ(logged("padded"), 0);
    EXPECT_EQ(logged("framesDropped=") - logged("framesDropped=0"), 0);
    EXPECT_EQ(logged("appendFailures=") - logged("appendFailures=0"), 0);
    EXPECT_LT(meeting_.host.simulatedStreams.errorLines().size(), 2000U);
}

INSTANTIATE_TEST_SUITE_P(Modes, TenHours,
                         testing::Values(Mode{"Mono", {}},
                                         Mode{"Stereo", {"TL_MACOS_UPLOAD_STEREO_LR"}},
                                         Mode{"Stream", {"TL_RECORDER_RTMPS_MODE"}},
                                         Mode{"TwoTracks", {"TL_MACOS_DUAL_TRACK_RECORDING"}}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace tapwell
