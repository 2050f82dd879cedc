// What a recording is while it grows, and after the process was killed.
#include "FaultyWrites.h"
#include "ForkedChild.h"
#include "Platform/Linux/FragmentedMp4File.h"
#include "Support/AacDecoding.h"
#include "Support/FileBytes.h"
#include "Support/Mp4Boxes.h"
#include "Support/TemporaryDirectory.h"
#include "TestRecording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <random>
#include <thread>

namespace tapwell::test {
namespace {

constexpr double kRate = 48000;
const AudioOutputSettings kMono = aacSettings(kRate, 1, 96000);

/// Root mean square of the difference between decoded samples and the 1 kHz tone recorded, away
/// from the tone's onset.
double deviationFromTone(const std::vector<float>& decoded) {
    constexpr std::size_t kOnset = 2048;
    if (decoded.size() <= kOnset) return 0;
    const std::vector<float> tone = sine(1000, kRate, 0.25, decoded.size());
    double sum = 0;
    for (std::size_t i = kOnset; i < decoded.size(); ++i)
        sum += (double{decoded[i]} - tone[i]) * (double{decoded[i]} - tone[i]);
    return std::sqrt(sum / static_cast<double>(decoded.size() - kOnset));
}

TEST(GrowingFile, IsReadableFromTheStart) {
    const TemporaryDirectory scratch;
    TestRecording recording(scratch.file("a.m4a"), kMono);
    const Mp4Box file = readMp4File(scratch.file("a.m4a"));
    EXPECT_EQ(file.at("ftyp").text(0, 4), "M4A ");
    EXPECT_EQ(file.at("moov/trak/edts/elst").u32(8), 0U);
    EXPECT_EQ(file.at("moov/trak/edts/elst").u32(12), 1024U);
    EXPECT_NE(file.find("moov/mvex/trex"), nullptr);
}

TEST(GrowingFile, GrowsByShortFragmentsWithoutGaps) {
    const TemporaryDirectory scratch;
    for (const double rate : {48000.0, 44100.0, 16000.0, 11025.0, 8000.0, 7350.0}) {
        const std::string path = scratch.file(std::to_string(rate));
        const auto frames = static_cast<std::size_t>(3 * rate) + 5;
        {
            TestRecording recording(path, aacSettings(rate, 1, 28000));
            ASSERT_TRUE(recording.append(noise(0.1, frames)));
        }
        const Mp4Box file = readMp4File(path);
        std::uint64_t mediaFrames = 0;
        std::uint32_t sequence = 0;
        for (const Mp4Box* moof : file.all("moof")) {
            EXPECT_EQ(moof->at("mfhd").u32(4), ++sequence);
            EXPECT_EQ(moof->at("traf/tfdt").u64(4), mediaFrames);
            const Mp4Box& run = moof->at("traf/trun");
            const bool hasDurations = (run.flags() & 0x100) != 0;
            std::uint64_t fragmentFrames = 0;
            for (std::size_t i = 0; i < run.u32(4); ++i)
                fragmentFrames += hasDurations ? run.u32(12 + 8 * i) : 1024;
            EXPECT_TRUE(sequence > 1 || fragmentFrames == 1024U);
            EXPECT_LE(static_cast<double>(fragmentFrames), 0.2 * rate) << rate;
            mediaFrames += fragmentFrames;
        }
        EXPECT_EQ(mediaFrames, frames + 1024);
    }
}

TEST(GrowingFile, LosesAtMostAQuarterSecondAtTheUsualRates) {
    const TemporaryDirectory scratch;
    for (const double rate : {48000.0, 44100.0, 32000.0, 24000.0, 16000.0}) {
        const std::string path = scratch.file(std::to_string(rate));
        TestRecording recording(path, aacSettings(rate, 1, 40000));
        std::size_t appended = 0;
        for (int i = 0; i < 60; ++i) {
            ASSERT_TRUE(recording.appendBuffer(noise(0.1, 1023)));
            appended += 1023;
            const double missing = static_cast<double>(appended) -
                                   static_cast<double>(decodeAudioFile(path).frameCount());
            EXPECT_LE(missing, 0.25 * rate) << rate << ' ' << i;
        }
    }
}

/// Records a second, and dies within a write: after `bytes` of the `writesBefore`-th from then on.
[[noreturn]] void dieWithinAWrite(const std::string& path, std::size_t writesBefore,
                                  std::size_t bytes) {
    TestRecording recording(path, kMono);
    const std::vector<float> tone = sine(1000, kRate, 0.25, 48000 * 2);
    recording.append(std::span(tone).first(48000));
    std::vector<FaultyWrites::Call> plan(writesBefore);
    plan.push_back({.bytes = bytes, .isKill = true});
    const FaultyWrites faults(plan);
    recording.append(std::span(tone).subspan(48000));
    ::_exit(EXIT_FAILURE);
}

TEST(KilledRecording, PlaysWhereverAWriteIsCut) {
    const TemporaryDirectory scratch;
    constexpr std::size_t kFramesBefore = 48000 - 12000;
    const auto dieAndCheck = [&](std::size_t writesBefore, std::size_t bytes) {
        const std::string path = scratch.file("a.m4a");
        ForkedChild child([&] {
            dieWithinAWrite(path, writesBefore, bytes);
            return EXIT_FAILURE;
        });
        ASSERT_EQ(child.wait(), -SIGKILL);
        const DecodedAudio decoded = decodeAudioFile(path);
        EXPECT_GE(decoded.frameCount(), kFramesBefore) << writesBefore << ' ' << bytes;
        EXPECT_LT(deviationFromTone(decoded.samples), 0.01) << writesBefore << ' ' << bytes;
        std::filesystem::remove(path);
    };
    for (std::size_t bytes = 1; bytes < 160; bytes += 7)
        dieAndCheck(0, bytes);
    dieAndCheck(0, 500);
    for (std::size_t bytes = 0; bytes <= 8; ++bytes)
        dieAndCheck(1, bytes);
}

/// A counter that a child shares with its parent.
class SharedCounter {
public:
    SharedCounter()
        : memory_(::mmap(nullptr, sizeof(std::atomic<std::int64_t>), PROT_READ | PROT_WRITE,
                         MAP_SHARED | MAP_ANONYMOUS, -1, 0)),
          value_(new (memory_) std::atomic<std::int64_t>(0)) {}
    ~SharedCounter() { ::munmap(memory_, sizeof(std::atomic<std::int64_t>)); }
    SharedCounter(const SharedCounter&) = delete;
    SharedCounter& operator=(const SharedCounter&) = delete;

    std::atomic<std::int64_t>& operator*() const { return *value_; }

private:
    void* memory_;
    std::atomic<std::int64_t>* value_;
};

/// Records a tone in real time until it is killed, counting the frames whose append has begun.
int recordInRealTime(const std::string& path, std::atomic<std::int64_t>& appended) {
    TestRecording recording(path, kMono);
    const std::vector<float> tone = sine(1000, kRate, 0.25, 48000 * 10);
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t frame = 0; frame + 1024 <= tone.size(); frame += 1024) {
        std::this_thread::sleep_until(
            start + std::chrono::duration<double>(static_cast<double>(frame) / kRate));
        appended = static_cast<std::int64_t>(frame + 1024);
        if (!recording.appendBuffer(std::span(tone).subspan(frame, 1024))) return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

TEST(KilledRecording, KeepsAllButTheLastQuarterSecond) {
    const TemporaryDirectory scratch;
    std::mt19937 random(20240607);
    std::uniform_int_distribution<int> milliseconds(5, 900);
    for (int round = 0; round < 12; ++round) {
        const std::string path = scratch.file(std::to_string(round));
        const SharedCounter appended;
        ForkedChild child([&] { return recordInRealTime(path, *appended); });
        while (*appended == 0)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds(random)));
        child.kill();

        const DecodedAudio decoded = decodeAudioFile(path);
        const double missing =
            static_cast<double>(*appended) - static_cast<double>(decoded.frameCount());
        EXPECT_LE(missing, 0.25 * kRate) << "round " << round << " of " << *appended;
        EXPECT_LT(deviationFromTone(decoded.samples), 0.01);
    }
}

TEST(KilledRecording, IsWholeWhenKilledWhileFinishing) {
    const TemporaryDirectory scratch;
    constexpr std::size_t kFrames = 48000 * 20;
    const std::vector<float> tone = sine(1000, kRate, 0.25, kFrames);
    std::mt19937 random(1);
    std::uniform_int_distribution<int> microseconds(0, 4000);
    for (int round = 0; round < 20; ++round) {
        const std::string path = scratch.file("a.m4a");
        const SharedCounter finishing;
        ForkedChild child([&] {
            TestRecording recording(path, kMono);
            if (!recording.append(tone)) return EXIT_FAILURE;
            *finishing = 1;
            recording.finish();
            std::this_thread::sleep_for(std::chrono::seconds(10));
            return EXIT_SUCCESS;
        });
        while (*finishing == 0)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds(random)));
        child.kill();

        const DecodedAudio decoded = decodeAudioFile(path);
        EXPECT_GE(decoded.frameCount() + 12000, kFrames) << round;
        EXPECT_LT(deviationFromTone({decoded.samples.begin(), decoded.samples.begin() + 48000}),
                  0.01);
        std::filesystem::remove(path);
    }
}

TEST(PacketsPerFragment, StayWithinTheLossThatAKillMayCause) {
    EXPECT_EQ(FragmentedMp4File::packetsPerFragment(48000), 6U);
    EXPECT_EQ(FragmentedMp4File::packetsPerFragment(44100), 5U);
    EXPECT_EQ(FragmentedMp4File::packetsPerFragment(96000), 12U);
    EXPECT_EQ(FragmentedMp4File::packetsPerFragment(16000), 1U);
    EXPECT_EQ(FragmentedMp4File::packetsPerFragment(7350), 1U);
}

}  // namespace
}  // namespace tapwell::test
