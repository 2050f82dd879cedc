// Recordings whose samples come faster than real time, encoded in segments on several cores.
#include "FaultyEncoders.h"
#include "FaultyWrites.h"
#include "ForkedChild.h"
#include "JointErrors.h"
#include "Platform/Linux/FragmentedMp4File.h"
#include "Platform/Linux/ParallelAacEncoder.h"
#include "Support/AacDecoding.h"
#include "Support/FileBytes.h"
#include "Support/Mp4Boxes.h"
#include "Support/TemporaryDirectory.h"
#include "TestRecording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <ostream>
#include <thread>
#include <utility>

namespace tapwell::test {
namespace {

using Status = AssetWriter::Status;

constexpr double kRate = 48000;
constexpr std::size_t kSegment = ParallelAacEncoder::kFramesPerSegment;
const AudioOutputSettings kMono = aacSettings(kRate, 1, 96000);

/// A sine that rises through the whole band that is kept, each channel at a pace of its own.
std::vector<float> sweep(std::size_t frames, std::size_t channels) {
    constexpr double kLowestHz = 50;
    constexpr double kHighestHz = 15000;
    std::vector<float> samples;
    samples.reserve(frames * channels);
    const double seconds = static_cast<double>(frames) / kRate;
    for (std::size_t i = 0; i < frames; ++i) {
        const double time = static_cast<double>(i) / kRate;
        const double cycles =
            kLowestHz * time + (kHighestHz - kLowestHz) * time * time / (2 * seconds);
        for (std::size_t channel = 0; channel < channels; ++channel)
            samples.push_back(static_cast<float>(
                0.4 * std::sin(2 * std::numbers::pi * cycles / static_cast<double>(1 + channel))));
    }
    return samples;
}

std::vector<float> whiteNoise(std::size_t frames, std::size_t channels) {
    return noise(0.3, frames * channels);
}

TestRecording::Producer fast(unsigned encoderCount) {
    return {.timesRealTime = TestRecording::kAtOnce, .encoderCount = encoderCount};
}

std::size_t threadCount() {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        count += entry.is_directory() ? 1 : 0;
    return count;
}

/// Threads of this process, with none that is about to be gone: the kernel lists a thread a little
/// longer than it can be joined.
std::size_t settledThreadCount(std::size_t expected = 0) {
    std::size_t count = threadCount();
    for (int i = 0; i < 50 && count > expected; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        count = std::min(count, threadCount());
    }
    return count;
}

/// The threads to compare with. A sanitizer adds one of its own when a program makes its first.
std::size_t threadsBefore() {
    std::thread([] {}).join();
    return settledThreadCount();
}

/// Frames that a growing file's fragments hold.
std::size_t framesInFile(const std::string& path) {
    std::size_t packets = 0;
    const Mp4Box file = readMp4File(path);
    for (const Mp4Box* moof : file.all("moof"))
        packets += moof->at("traf/trun").u32(4);
    return packets == 0 ? 0 : (packets - 1) * AacTrack::kFramesPerPacket;
}

struct Signal {
    const char* name;
    std::vector<float> (*make)(std::size_t frames, std::size_t channels);
    std::int64_t channels;
};

void PrintTo(const Signal& signal, std::ostream* out) {
    *out << signal.name << ", " << signal.channels << " channels";
}

class Joints : public ::testing::TestWithParam<Signal> {
protected:
    static constexpr std::size_t kJoints = 7;
    static constexpr std::size_t kFrames = kJoints * kSegment + 40 * 1024 + 500;

    JointErrors errorsOf(const std::string& path) const {
        return {samples_, decodeAudioFile(path).samples, channels_,
                ParallelAacEncoder::kPacketsPerSegment};
    }
    void writeWithoutPriming(const std::string& path) const;

    const std::size_t channels_ = static_cast<std::size_t>(GetParam().channels);
    const AudioOutputSettings settings_ = aacSettings(kRate, GetParam().channels, 96000);
    const std::vector<float> samples_ = GetParam().make(kFrames, channels_);
    TemporaryDirectory scratch_;
};

/// The same segments, each encoded from no more than what its packets overlap.
void Joints::writeWithoutPriming(const std::string& path) const {
    RecordingFile file(path);
    FragmentedMp4File fragments(file, AacEncoder(settings_).track());
    const std::span samples(samples_);
    for (std::size_t start = 0; start < kFrames; start += kSegment) {
        AacEncoder encoder(settings_);
        bool isOwn = start == 0;
        const auto append = [&](std::span<const std::byte> packet) {
            if (std::exchange(isOwn, true)) fragments.append(packet);
        };
        const std::size_t from = start == 0 ? 0 : start - 1024;
        const std::size_t to = std::min(kFrames, start + kSegment + 1024);
        encoder.encode(samples.subspan(from * channels_, (to - from) * channels_), append);
        if (to == kFrames) encoder.finish(append);
    }
    fragments.finish();
}

/// Whether the errors at the joints could be a sample of the errors elsewhere.
bool areJointsLikeTheRest(const JointErrors& errors) {
    const auto& joints = errors.atJoints();
    const auto& rest = errors.elsewhere();
    const auto high = std::ranges::count_if(
        joints, [limit = quantile(rest, 0.95)](double error) { return error > limit; });
    // Of 28 windows more than 5 are above the 95th percentile once in 500 times.
    return mean(joints) <= mean(rest) + 3 * deviationOfMean(rest, joints.size()) && high <= 5 &&
           joints.back() <= rest.back();
}

TEST_P(Joints, AreNoFurtherFromTheSourceThanTheRest) {
    const std::string path = scratch_.file("a.m4a");
    TestRecording::record(path, settings_, samples_, fast(2));
    const JointErrors errors = errorsOf(path);
    ASSERT_EQ(errors.atJoints().size(), kJoints * JointErrors::kWindowsOfAJoint);
    EXPECT_TRUE(areJointsLikeTheRest(errors));

    const std::string wholePath = scratch_.file("b.m4a");
    TestRecording::record(wholePath, settings_, samples_);
    const JointErrors whole = errorsOf(wholePath);
    EXPECT_LE(
        mean(errors.atJoints()),
        mean(whole.atJoints()) + 3 * deviationOfMean(whole.elsewhere(), whole.atJoints().size()));
    RecordProperty("joints", ::testing::PrintToString(mean(errors.atJoints())));
    RecordProperty("elsewhere", ::testing::PrintToString(mean(errors.elsewhere())));
}

TEST_P(Joints, WouldStandOutWithoutPriming) {
    const std::string path = scratch_.file("a.m4a");
    writeWithoutPriming(path);
    EXPECT_FALSE(areJointsLikeTheRest(errorsOf(path)));
}

INSTANTIATE_TEST_SUITE_P(Signals, Joints,
                         ::testing::Values(Signal{"sweep", sweep, 1}, Signal{"sweep", sweep, 2},
                                           Signal{"noise", whiteNoise, 1},
                                           Signal{"noise", whiteNoise, 2}));

TEST(ParallelEncoding, KeepsLengthPrimingAndPlaceOfEveryFrame) {
    const TemporaryDirectory scratch;
    const std::vector<float> tone = sine(1000, kRate, 0.25, 3 * kSegment);
    for (const std::size_t frames :
         {kSegment - 1, kSegment + 1023, kSegment + 1024, kSegment + 1025, 2 * kSegment,
          2 * kSegment + 1024, 2 * kSegment + 12345}) {
        const std::string path = scratch.file(std::to_string(frames));
        TestRecording::record(path, kMono, {tone.begin(), tone.begin() + std::ptrdiff_t(frames)},
                              fast(2));
        const Mp4Box file = readMp4File(path);
        EXPECT_EQ(file.at("moov/trak/edts/elst").u32(8), frames);
        EXPECT_EQ(file.at("moov/trak/edts/elst").u32(12), 1024U);
        EXPECT_EQ(file.at("moov/trak/mdia/mdhd").u32(16), frames + 1024);
        EXPECT_EQ(file.at("moov/trak/mdia/minf/stbl/stsz").u32(8), 1 + (frames + 1023) / 1024);
        const DecodedAudio decoded = decodeAudioFile(path);
        ASSERT_EQ(decoded.frameCount(), (frames + 1023) / 1024 * 1024);
        for (std::size_t i = 1024; i + 1024 < frames; ++i)
            ASSERT_NEAR(decoded.samples[i], tone[i], 0.02) << frames << ' ' << i;
    }
}

TEST(ParallelEncoding, GivesTheSameFileWhateverTheCoresAndTheBuffers) {
    const TemporaryDirectory scratch;
    const AudioOutputSettings stereo = aacSettings(kRate, 2, 96000);
    const std::vector<float> samples = noise(0.2, 2 * (3 * kSegment + 777));
    const std::string plain = scratch.file("plain");
    TestRecording::record(plain, stereo, samples, fast(1));
    for (const auto& [encoders, framesPerBuffer] :
         {std::pair(1U, kSegment), {2U, 1024}, {2U, 5001}, {3U, 4096}, {6U, samples.size()}}) {
        const std::string path = scratch.file("a.m4a");
        TestRecording recording(path, stereo, fast(encoders));
        ASSERT_TRUE(recording.append(samples, framesPerBuffer));
        recording.finish();
        EXPECT_EQ(readFileBytes(path), readFileBytes(plain)) << encoders;
        std::filesystem::remove(path);
    }
}

TEST(ParallelEncoding, GivesTheSameFileWhenAFastProducerPauses) {
    const TemporaryDirectory scratch;
    const std::vector<float> samples = noise(0.2, 5 * kSegment);
    TestRecording::record(scratch.file("plain"), kMono, samples, fast(2));
    TestRecording recording(scratch.file("a.m4a"), kMono, fast(2));
    constexpr std::size_t kPiece = kSegment / 3 + 17;
    for (std::size_t start = 0; start < samples.size(); start += kPiece) {
        const std::size_t count = std::min(kPiece, samples.size() - start);
        ASSERT_TRUE(recording.append(std::span(samples).subspan(start, count)));
        if (start >= kSegment) recording.clock().advance(start % 2 == 0 ? 20 : 0.1);
    }
    recording.finish();
    EXPECT_EQ(readFileBytes(scratch.file("a.m4a")), readFileBytes(scratch.file("plain")));
}

class LiveRecording : public ::testing::Test {
protected:
    /// What one encoder makes of the samples.
    std::vector<std::byte> plainFile(const std::vector<float>& samples) {
        const std::string path = scratch_.file("plain");
        TestRecording::record(path, kMono, samples,
                              {.timesRealTime = TestRecording::kAtOnce, .expectsRealTime = true});
        return readFileBytes(path);
    }

    TemporaryDirectory scratch_;
    const std::string path_ = scratch_.file("a.m4a");
    const std::vector<float> samples_ = noise(0.2, 4 * kSegment + 777);
};

TEST_F(LiveRecording, IsEncodedByOneEncoderWithoutThreads) {
    const std::size_t threads = threadsBefore();
    TestRecording recording(path_, kMono, {.encoderCount = 6});
    ASSERT_TRUE(recording.append(samples_));
    EXPECT_LE(threadCount(), threads);
    recording.finish();
    EXPECT_EQ(readFileBytes(path_), plainFile(samples_));
}

TEST_F(LiveRecording, IsToldFromAFastOneByItsPace) {
    const std::vector<std::byte> plain = plainFile(samples_);
    for (const double timesRealTime : {0.5, 3.9, 4.1, 300.0}) {
        TestRecording::record(path_, kMono, samples_, {.timesRealTime = timesRealTime});
        EXPECT_EQ(readFileBytes(path_) == plain, timesRealTime < 4) << timesRealTime;
        std::filesystem::remove(path_);
    }
}

TEST_F(LiveRecording, ReachesTheFileAcrossBorders) {
    TestRecording recording(path_, kMono, {.encoderCount = 6});
    std::size_t appended = 0;
    while (appended + 1023 < samples_.size()) {
        ASSERT_TRUE(recording.appendBuffer(std::span(samples_).subspan(appended, 1023)));
        appended += 1023;
        if ((appended + kSegment / 8) % kSegment > kSegment / 4) continue;
        const std::size_t kept = framesInFile(path_);
        ASSERT_LE(static_cast<double>(appended - std::min(appended, kept)), 0.25 * kRate);
    }
}

TEST_F(LiveRecording, StaysOneWhenABurstFollowsAStall) {
    TestRecording recording(path_, kMono, {.encoderCount = 6});
    const std::span samples(samples_);
    const std::size_t before = kSegment / 2;
    const std::size_t burst = 3 * kSegment;
    ASSERT_TRUE(recording.append(samples.first(before)));
    recording.clock().advance(static_cast<double>(burst) / kRate);
    recording.setTimesRealTime(TestRecording::kAtOnce);
    ASSERT_TRUE(recording.append(samples.subspan(before, burst)));
    EXPECT_GE(framesInFile(path_) + 12000, before + burst);
    recording.setTimesRealTime(1);
    ASSERT_TRUE(recording.append(samples.subspan(before + burst)));
    recording.finish();
    EXPECT_EQ(readFileBytes(path_), plainFile(samples_));
}

TEST_F(LiveRecording, IsSoonInTheFileWhenItBeginsWithABacklog) {
    TestRecording recording(path_, kMono, fast(3));
    const std::span samples(samples_);
    std::size_t appended = 3 * kSegment + kSegment / 2;
    ASSERT_TRUE(recording.append(samples.first(appended)));
    EXPECT_LT(framesInFile(path_), appended - kSegment / 3);
    recording.setTimesRealTime(1);
    const auto appendLive = [&](double seconds) {
        const auto count = static_cast<std::size_t>(seconds * kRate);
        ASSERT_TRUE(recording.append(samples.subspan(appended, count)));
        appended += count;
    };
    appendLive(ParallelAacEncoder::kLongestWait + 0.05);
    EXPECT_GE(framesInFile(path_) + 12000, appended);
    while (appended + 48000 < samples.size()) {
        appendLive(0.1);
        EXPECT_GE(framesInFile(path_) + 12000, appended);
    }
}

TEST(ParallelEncoding, EndsItsThreads) {
    const TemporaryDirectory scratch;
    const std::size_t threads = threadsBefore();
    TestRecording recording(scratch.file("a.m4a"), kMono, fast(4));
    ASSERT_TRUE(recording.append(noise(0.2, 3 * kSegment)));
    EXPECT_EQ(threadCount(), threads + 3);
    recording.finish();
    EXPECT_EQ(recording.writer().status(), Status::completed);
    EXPECT_LE(settledThreadCount(threads + 1),
              threads + 1);  // that of finishing, until it is joined
    recording.destroyWriter();
    EXPECT_LE(settledThreadCount(threads), threads);
}

TEST(ParallelEncoding, IsPlayableWhileItGrows) {
    const TemporaryDirectory scratch;
    const std::string path = scratch.file("a.m4a");
    TestRecording recording(path, kMono, fast(2));
    const std::vector<float> samples = noise(0.2, 9 * kSegment);
    std::size_t kept = 0;
    for (std::size_t start = 0; start < samples.size(); start += kSegment / 2) {
        ASSERT_TRUE(recording.append(std::span(samples).subspan(start, kSegment / 2)));
        const std::size_t frames = decodeAudioFile(path).frameCount();
        EXPECT_GE(frames, kept);
        kept = frames;
    }
    // Held back at most: four segments in order behind one that is slow, and one collected.
    EXPECT_GE(kept, samples.size() - 6 * kSegment);
}

TEST(ParallelEncoding, LeavesEverythingAppendedWhenDestroyed) {
    const TemporaryDirectory scratch;
    const std::string path = scratch.file("a.m4a");
    const std::size_t threads = threadsBefore();
    constexpr std::size_t kFrames = 4 * kSegment + kSegment / 2;
    {
        TestRecording recording(path, kMono, fast(3));
        ASSERT_TRUE(recording.append(noise(0.1, kFrames)));
    }
    EXPECT_LE(settledThreadCount(threads), threads);
    EXPECT_EQ(decodeAudioFile(path).frameCount(), (kFrames + 1023) / 1024 * 1024);
}

TEST(ParallelEncoding, PlaysWhenKilled) {
    const TemporaryDirectory scratch;
    const std::string path = scratch.file("a.m4a");
    ForkedChild child([&] {
        TestRecording recording(path, kMono, fast(2));
        recording.append(noise(0.1, 6 * kSegment));
        ::kill(::getpid(), SIGKILL);
        return EXIT_FAILURE;
    });
    ASSERT_EQ(child.wait(), -SIGKILL);
    EXPECT_GE(decodeAudioFile(path).frameCount() + 12000, kSegment);
}

TEST(ParallelEncoding, FailsWhenAnEncoderFailsAndKeepsWhatCameBefore) {
    const TemporaryDirectory scratch;
    const std::size_t threads = threadsBefore();
    const std::vector<float> samples = noise(0.1, 8 * kSegment);
    for (const bool isLast : {false, true}) {
        const std::string path = scratch.file(isLast ? "last" : "middle");
        TestRecording recording(path, kMono, fast(3));
        {
            const FaultyEncoders faults(2);  // those of the second and third segment do
            const std::size_t frames = isLast ? 3 * kSegment + 2000 : samples.size();
            EXPECT_EQ(recording.append(std::span(samples).first(frames)), isLast);
            recording.finish();
        }
        EXPECT_EQ(recording.writer().status(), Status::failed);
        ASSERT_TRUE(recording.writer().error());
        EXPECT_EQ(recording.writer().error()->domain(), "FFmpeg");
        EXPECT_EQ(recording.writer().error()->description(),
                  "Cannot encode AAC: Cannot allocate memory");
        EXPECT_FALSE(recording.append(samples));
        recording.destroyWriter();
        EXPECT_LE(settledThreadCount(threads), threads);
        EXPECT_GE(decodeAudioFile(path).frameCount() + 12000, kSegment);
    }
}

TEST(ParallelEncoding, FailsOnAFullDiskAndStaysPlayable) {
    const TemporaryDirectory scratch;
    const std::string path = scratch.file("a.m4a");
    const std::size_t threads = threadsBefore();
    TestRecording recording(path, kMono, fast(3));
    const std::vector<float> samples = noise(0.1, 12 * kSegment);
    ASSERT_TRUE(recording.append(std::span(samples).first(3 * kSegment)));
    {
        std::vector<FaultyWrites::Call> plan(21);
        plan.push_back({.bytes = 700});
        plan.push_back({.errorNumber = ENOSPC});
        const FaultyWrites faults(plan);
        EXPECT_FALSE(recording.append(std::span(samples).subspan(3 * kSegment)));
    }
    EXPECT_EQ(recording.writer().status(), Status::failed);
    ASSERT_TRUE(recording.writer().error());
    EXPECT_EQ(recording.writer().error()->code(), ENOSPC);
    EXPECT_LE(settledThreadCount(threads), threads);
    EXPECT_GE(decodeAudioFile(path).frameCount(), kSegment);
}

}  // namespace
}  // namespace tapwell::test
