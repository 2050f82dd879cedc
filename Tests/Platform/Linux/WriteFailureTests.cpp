// Recordings whose disk is full, or whose writes are cut short.
#include "FaultyWrites.h"
#include "ForkedChild.h"
#include "Platform/Linux/FfmpegAssetWriterFactory.h"
#include "Platform/Linux/RecordingFile.h"
#include "Support/AacDecoding.h"
#include "Support/FileBytes.h"
#include "Support/Mp4Boxes.h"
#include "Support/TemporaryDirectory.h"
#include "TestRecording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace tapwell::test {
namespace {

using Status = AssetWriter::Status;

const AudioOutputSettings kMono = aacSettings(48000, 1, 96000);

/// Bytes of the whole boxes at a file's start are all there is: nothing is cut short.
void expectWholeBoxes(const std::string& path) {
    readMp4File(path);
}

TEST(WriteFailure, KeepsAPlayableFileWhenTheDiskIsFull) {
    const TemporaryDirectory scratch;
    const std::string path = scratch.file("a.m4a");
    TestRecording recording(path, kMono);
    const std::vector<float> samples = noise(0.2, 48000);
    ASSERT_TRUE(recording.append(samples));
    const std::size_t bytesBefore = std::filesystem::file_size(path);
    {
        // Half of a fragment fits.
        const FaultyWrites faults({{.bytes = 700}, {.errorNumber = ENOSPC}});
        EXPECT_FALSE(recording.append(samples));
    }
    EXPECT_EQ(recording.writer().status(), Status::failed);
    ASSERT_TRUE(recording.writer().error());
    EXPECT_EQ(recording.writer().error()->domain(), "POSIX");
    EXPECT_EQ(recording.writer().error()->code(), ENOSPC);
    EXPECT_EQ(recording.writer().error()->description(),
              "Cannot write recording file \"" + path + "\": No space left on device");
    EXPECT_EQ(std::filesystem::file_size(path), bytesBefore);
    expectWholeBoxes(path);

    // A queue in front of the input runs empty, and finishing ends at once.
    EXPECT_TRUE(recording.input().isReadyForMoreMediaData());
    EXPECT_FALSE(recording.append(samples));
    recording.finish();
    EXPECT_EQ(recording.writer().status(), Status::failed);
    recording.destroyWriter();
    EXPECT_EQ(std::filesystem::file_size(path), bytesBefore);
    EXPECT_GE(decodeAudioFile(path).frameCount() + 12000, samples.size());
    EXPECT_THAT(scratch.names(), ::testing::ElementsAre("a.m4a"));
}

TEST(WriteFailure, KeepsAPlayableFileAtTheFileSizeLimit) {
    const TemporaryDirectory scratch;
    const std::string path = scratch.file("a.m4a");
    ForkedChild child([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{30001, 30001};
        if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
        TestRecording recording(path, kMono);
        if (recording.append(noise(0.2, 48000 * 20))) return 3;
        if (recording.writer().status() != Status::failed) return 4;
        const auto error = recording.writer().error();
        return error && error->code() == EFBIG ? EXIT_SUCCESS : 5;
    });
    EXPECT_EQ(child.wait(), EXIT_SUCCESS);
    expectWholeBoxes(path);
    EXPECT_LE(std::filesystem::file_size(path), 30001U);
    EXPECT_GT(decodeAudioFile(path).frameCount(), 48000U);
}

TEST(WriteFailure, FailsToStartOnAFullDisk) {
    const TemporaryDirectory scratch;
    const std::string path = scratch.file("a.m4a");
    {
        const ManualClock clock;
        const auto writer = FfmpegAssetWriterFactory(clock).makeWriter(path);
        writer->add(writer->makeInput(kMono, nullptr));
        const FaultyWrites faults({FaultyWrites::Call{.errorNumber = ENOSPC}});
        EXPECT_FALSE(writer->startWriting());
        EXPECT_EQ(writer->status(), Status::failed);
        EXPECT_TRUE(writer->error());
    }
    EXPECT_THAT(scratch.names(), ::testing::IsEmpty());
}

TEST(WriteFailure, KeepsTheFragmentsWhenTheFinishedFileDoesNotFit) {
    const TemporaryDirectory scratch;
    const std::string path = scratch.file("a.m4a");
    constexpr std::size_t kFrames = 48000 * 30;
    TestRecording recording(path, kMono);
    ASSERT_TRUE(recording.append(noise(0.2, kFrames)));
    {
        // The last two fragments, the index and part of the packets fit.
        const FaultyWrites faults({{}, {}, {}, {}, {}, {.bytes = 1000}, {.errorNumber = ENOSPC}},
                                  FaultyWrites::Threads::all);
        recording.finish();
    }
    EXPECT_EQ(recording.writer().status(), Status::failed);
    ASSERT_TRUE(recording.writer().error());
    EXPECT_EQ(recording.writer().error()->description(),
              "Cannot finish recording file \"" + path + "\": No space left on device");
    recording.destroyWriter();
    EXPECT_THAT(scratch.names(), ::testing::ElementsAre("a.m4a"));
    EXPECT_FALSE(readMp4File(path).all("moof").empty());
    EXPECT_EQ(decodeAudioFile(path).frameCount(), (kFrames + 1023) / 1024 * 1024);
}

TEST(WriteFailure, GoesOnAfterShortAndInterruptedWrites) {
    const TemporaryDirectory scratch;
    const std::vector<float> samples = noise(0.2, 48000);
    TestRecording::record(scratch.file("plain"), kMono, samples);
    {
        const FaultyWrites faults({{.bytes = 1},
                                   {.errorNumber = EINTR},
                                   {.errorNumber = EINTR},
                                   {.bytes = 100},
                                   {.bytes = 7}});
        TestRecording::record(scratch.file("faulty"), kMono, samples);
    }
    EXPECT_EQ(readFileBytes(scratch.file("faulty")), readFileBytes(scratch.file("plain")));
}

TEST(RecordingFile, TakesBackWhatItCouldNotWriteWhole) {
    const TemporaryDirectory scratch;
    RecordingFile file(scratch.file("a"));
    const std::vector<std::byte> bytes(100, std::byte{7});
    file.append(bytes);
    {
        const FaultyWrites faults({{.bytes = 60}, {.errorNumber = EIO}});
        EXPECT_THROW(file.append(bytes), RecorderError);
    }
    EXPECT_EQ(file.size(), 100U);
    EXPECT_EQ(std::filesystem::file_size(file.path()), 100U);
    file.append(bytes);
    EXPECT_EQ(std::filesystem::file_size(file.path()), 200U);
}

}  // namespace
}  // namespace tapwell::test
