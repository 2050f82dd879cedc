#include "EndToEnd/RecordingTest.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <thread>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t allowedGrowthBytes = 4 << 20;

class RepetitionTest : public RecordingTest {
protected:
    /// What a recording that is over may still hold for a moment goes away by itself.
    template <typename Count>
    static std::size_t settled(const Count& count, std::size_t expected) {
        const auto deadline = std::chrono::steady_clock::now() + 5s;
        while (count() > expected && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(20ms);
        }
        return count();
    }
};

TEST_F(RepetitionTest, TenRecordingsLeaveNothingBehind) {
    launch();
    audio().play({tone(1000, 0.5, 60, 48000), tone(440, 0.05, 60, 48000)});
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    std::size_t residentBytes = 0;
    for (int index = 1; index <= 10; ++index) {
        const auto path = file(std::to_string(index) + ".m4a");
        ASSERT_NO_FATAL_FAILURE(record(path, 500ms));
        EXPECT_GT(decoded(path).decodedSeconds(), 0.4);
        const nlohmann::json refusal = tapwell().start("/dev/null/recording.m4a");
        EXPECT_EQ(refusal.value("code", ""), "RECORDER_START_FAILED") << refusal;
        if (index == 3) {
            letPass(500ms);
            descriptors = tapwell().openDescriptorCount();
            threads = tapwell().threadCount();
            residentBytes = tapwell().residentBytes();
        }
    }
    EXPECT_EQ(settled([&] { return tapwell().openDescriptorCount(); }, descriptors), descriptors);
    EXPECT_EQ(settled([&] { return tapwell().threadCount(); }, threads), threads);
    std::cout << descriptors << " descriptors, " << threads << " threads, " << residentBytes / 1024
              << " KiB, then " << tapwell().residentBytes() / 1024 << " KiB\n";
    if (!TAPWELL_SANITIZED) {
        EXPECT_LT(tapwell().residentBytes(), residentBytes + allowedGrowthBytes);
    }
}

}  // namespace
}  // namespace tapwell::test
