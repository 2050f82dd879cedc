// What the writer answers and does with the file's name.
#include "Platform/AudioFormat.h"
#include "Platform/Linux/FfmpegAssetWriterFactory.h"
#include "Support/AacDecoding.h"
#include "Support/FileBytes.h"
#include "Support/TemporaryDirectory.h"
#include "TestRecording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <future>

namespace tapwell::test {
namespace {

using Status = AssetWriter::Status;

const AudioOutputSettings kMono = aacSettings(48000, 1, 96000);

const std::vector<std::byte> kForeignBytes = {std::byte{1}, std::byte{2}, std::byte{3}};

class AssetWriterTest : public ::testing::Test {
protected:
    std::unique_ptr<AssetWriter> makeWriter() { return factory_.makeWriter(path_); }

    RecorderError errorOfMakingWriterAt(const std::string& path) {
        try {
            factory_.makeWriter(path);
        } catch (const RecorderError& error) {
            return error;
        }
        ADD_FAILURE() << "no error";
        return RecorderError(0, "");
    }

    TemporaryDirectory scratch_;
    std::string path_ = scratch_.file("a.m4a");
    ManualClock clock_;
    FfmpegAssetWriterFactory factory_{clock_};
};

TEST_F(AssetWriterTest, CreatesAFileForItsOwnerOnly) {
    const mode_t mask = ::umask(0);
    const auto writer = makeWriter();
    ::umask(mask);
    struct stat status {};
    ASSERT_EQ(::stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(AssetWriterTest, FinishedFileIsForItsOwnerOnly) {
    const mode_t mask = ::umask(0);
    TestRecording::record(path_, kMono, noise(0.1, 5000));
    ::umask(mask);
    struct stat status {};
    ASSERT_EQ(::stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(AssetWriterTest, RefusesAndKeepsAFileThatExists) {
    writeFileBytes(path_, kForeignBytes);
    const RecorderError error = errorOfMakingWriterAt(path_);
    EXPECT_EQ(error.domain(), "POSIX");
    EXPECT_EQ(error.code(), EEXIST);
    EXPECT_EQ(error.description(), "Cannot create recording file \"" + path_ + "\": File exists");
    EXPECT_EQ(readFileBytes(path_), kForeignBytes);
}

TEST_F(AssetWriterTest, RefusesASymbolicLink) {
    std::filesystem::create_symlink("nowhere", path_);
    EXPECT_EQ(errorOfMakingWriterAt(path_).code(), EEXIST);
    EXPECT_THAT(scratch_.names(), ::testing::ElementsAre("a.m4a"));
}

TEST_F(AssetWriterTest, SaysWhenThereIsNoDirectory) {
    const std::string path = scratch_.file("none/a.m4a");
    const RecorderError error = errorOfMakingWriterAt(path);
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_EQ(error.description(),
              "Cannot create recording file \"" + path + "\": No such file or directory");
}

TEST_F(AssetWriterTest, RemovesItsFileWhenWritingNeverStarted) {
    makeWriter().reset();
    EXPECT_THAT(scratch_.names(), ::testing::IsEmpty());
}

TEST_F(AssetWriterTest, KeepsAForeignFileThatTookItsPlaceBeforeWritingStarted) {
    auto writer = makeWriter();
    std::filesystem::remove(path_);
    writeFileBytes(path_, kForeignBytes);
    writer.reset();
    EXPECT_EQ(readFileBytes(path_), kForeignBytes);
}

TEST_F(AssetWriterTest, LeavesEverythingAppendedWhenDestroyedWhileWriting) {
    constexpr std::size_t kFrames = 30000;
    {
        TestRecording recording(path_, kMono);
        ASSERT_TRUE(recording.append(noise(0.1, kFrames)));
    }
    const DecodedAudio decoded = decodeAudioFile(path_);
    EXPECT_GE(decoded.frameCount(), kFrames);
    EXPECT_LT(decoded.frameCount(), kFrames + 1024);
    EXPECT_THAT(scratch_.names(), ::testing::ElementsAre("a.m4a"));
}

TEST_F(AssetWriterTest, InputOutlivesTheWriter) {
    auto writer = makeWriter();
    const auto input = writer->makeInput(kMono, floatFormat(48000, 1));
    writer->add(input);
    ASSERT_TRUE(writer->startWriting());
    writer->startSession(MediaTime::zero());
    writer.reset();
    EXPECT_FALSE(input->isReadyForMoreMediaData());
    std::shared_ptr<BlockBuffer> block;
    ASSERT_EQ(BlockBuffer::create(4, block), noErr);
    std::optional<SampleBuffer> buffer;
    ASSERT_EQ(SampleBuffer::create(block, nullptr, 1, {}, buffer), noErr);
    EXPECT_FALSE(input->append(*buffer));
}

TEST_F(AssetWriterTest, AddsOnlyWhatItCanEncode) {
    const auto writer = makeWriter();
    const auto canAdd = [&](const AudioOutputSettings& settings,
                            std::shared_ptr<const AudioFormatDescription> format) {
        return writer->canAdd(*writer->makeInput(settings, std::move(format)));
    };
    for (const double rate : {96000.0, 88200.0, 64000.0, 48000.0, 44100.0, 32000.0, 24000.0,
                              22050.0, 16000.0, 12000.0, 11025.0, 8000.0, 7350.0}) {
        EXPECT_TRUE(canAdd(aacSettings(rate, 1, 28000), floatFormat(rate, 1))) << rate;
        EXPECT_TRUE(canAdd(aacSettings(rate, 2, 28000), floatFormat(rate, 2))) << rate;
    }
    for (const double rate : {47999.0, 48000.5, 192000.0, 0.0, -48000.0})
        EXPECT_FALSE(
            canAdd(aacSettings(rate, 1, 96000), AudioFormatDescription::withoutStreamDescription()))
            << rate;
    EXPECT_TRUE(canAdd(kMono, AudioFormatDescription::withoutStreamDescription()));
    EXPECT_TRUE(canAdd(kMono, nullptr));
    EXPECT_FALSE(canAdd(aacSettings(48000, 3, 96000), floatFormat(48000, 3)));
    EXPECT_FALSE(canAdd(aacSettings(48000, 0, 96000), nullptr));
    EXPECT_FALSE(canAdd(aacSettings(48000, 1, 0), floatFormat(48000, 1)));
    EXPECT_FALSE(canAdd(aacSettings(8000, 1, 96000), floatFormat(8000, 1)));
    EXPECT_FALSE(canAdd({kAudioFormatLinearPCM, 48000, 1, 96000}, floatFormat(48000, 1)));
    EXPECT_FALSE(canAdd(kMono, floatFormat(44100, 1)));
    EXPECT_FALSE(canAdd(kMono, floatFormat(48000, 2)));
    const auto planar = AudioFormat::make(CommonFormat::pcmFloat32, 48000, 1, false);
    std::shared_ptr<const AudioFormatDescription> format;
    ASSERT_EQ(AudioFormatDescription::create(planar->streamDescription(), format), noErr);
    EXPECT_TRUE(canAdd(kMono, format));
    const auto integer = AudioFormat::make(CommonFormat::pcmInt16, 48000, 1, true);
    ASSERT_EQ(AudioFormatDescription::create(integer->streamDescription(), format), noErr);
    EXPECT_FALSE(canAdd(kMono, format));
}

TEST_F(AssetWriterTest, TakesOneInput) {
    const auto writer = makeWriter();
    writer->add(writer->makeInput(kMono, nullptr));
    EXPECT_FALSE(writer->canAdd(*writer->makeInput(kMono, nullptr)));
}

TEST_F(AssetWriterTest, FailsToStartWithoutAnInput) {
    const auto writer = makeWriter();
    EXPECT_EQ(writer->status(), Status::unknown);
    EXPECT_FALSE(writer->startWriting());
    EXPECT_EQ(writer->status(), Status::failed);
    ASSERT_TRUE(writer->error());
    EXPECT_THAT(writer->error()->description(), ::testing::HasSubstr(path_));
}

TEST_F(AssetWriterTest, GoesThroughItsStates) {
    const auto writer = makeWriter();
    const auto input = writer->makeInput(kMono, floatFormat(48000, 1));
    EXPECT_FALSE(input->isReadyForMoreMediaData());
    input->setExpectsMediaDataInRealTime(true);
    EXPECT_TRUE(input->expectsMediaDataInRealTime());
    writer->add(input);
    EXPECT_FALSE(input->isReadyForMoreMediaData());
    ASSERT_TRUE(writer->startWriting());
    EXPECT_FALSE(writer->startWriting());
    EXPECT_EQ(writer->status(), Status::writing);
    EXPECT_TRUE(input->isReadyForMoreMediaData());
    writer->startSession(MediaTime::zero());
    input->markAsFinished();
    EXPECT_FALSE(input->isReadyForMoreMediaData());

    for (int i = 0; i < 2; ++i) {
        std::promise<void> finished;
        writer->finishWriting([&] { finished.set_value(); });
        finished.get_future().wait();
        EXPECT_EQ(writer->status(), Status::completed);
    }
}

TEST_F(AssetWriterTest, CompletionMayDestroyTheWriter) {
    auto recording = std::make_unique<TestRecording>(path_, kMono);
    ASSERT_TRUE(recording->append(noise(0.1, 3000)));
    std::promise<void> finished;
    AssetWriter& writer = recording->writer();
    writer.finishWriting([&] {
        recording->destroyWriter();
        finished.set_value();
    });
    finished.get_future().wait();
    EXPECT_GE(decodeAudioFile(path_).frameCount(), 3000U);
}

TEST_F(AssetWriterTest, TakesNoSamplesBeforeTheSessionStarts) {
    const auto writer = makeWriter();
    const auto input = writer->makeInput(kMono, nullptr);
    writer->add(input);
    ASSERT_TRUE(writer->startWriting());
    std::shared_ptr<BlockBuffer> block;
    ASSERT_EQ(BlockBuffer::create(4, block), noErr);
    std::optional<SampleBuffer> buffer;
    ASSERT_EQ(SampleBuffer::create(block, nullptr, 1, {}, buffer), noErr);
    EXPECT_FALSE(input->append(*buffer));
    EXPECT_EQ(writer->status(), Status::writing);
    writer->startSession(MediaTime::zero());
    EXPECT_TRUE(input->append(*buffer));
}

TEST_F(AssetWriterTest, FailsOnSamplesOfAnotherFormat) {
    TestRecording recording(path_, kMono);
    std::shared_ptr<BlockBuffer> block;
    ASSERT_EQ(BlockBuffer::create(6, block), noErr);
    std::optional<SampleBuffer> buffer;
    ASSERT_EQ(SampleBuffer::create(block, nullptr, 3, {}, buffer), noErr);
    EXPECT_FALSE(recording.input().append(*buffer));
    EXPECT_EQ(recording.writer().status(), Status::failed);
    EXPECT_TRUE(recording.writer().error());
}

TEST_F(AssetWriterTest, PassesOverABufferThatWasInvalidated) {
    TestRecording recording(path_, kMono);
    std::shared_ptr<BlockBuffer> block;
    ASSERT_EQ(BlockBuffer::create(4, block), noErr);
    std::optional<SampleBuffer> buffer;
    ASSERT_EQ(SampleBuffer::create(block, nullptr, 1, {}, buffer), noErr);
    buffer->invalidate();
    EXPECT_TRUE(recording.input().append(*buffer));
    EXPECT_EQ(recording.writer().status(), Status::writing);
}

TEST_F(AssetWriterTest, KeepsAForeignFileThatTookItsPlaceWhileWriting) {
    TestRecording recording(path_, kMono);
    ASSERT_TRUE(recording.append(noise(0.1, 20000)));
    std::filesystem::rename(path_, scratch_.file("moved.m4a"));
    writeFileBytes(path_, kForeignBytes);
    recording.finish();
    EXPECT_EQ(recording.writer().status(), Status::failed);
    ASSERT_TRUE(recording.writer().error());
    EXPECT_EQ(recording.writer().error()->description(),
              "Cannot finish recording file \"" + path_ + "\": File exists");
    EXPECT_EQ(readFileBytes(path_), kForeignBytes);
    EXPECT_GE(decodeAudioFile(scratch_.file("moved.m4a")).frameCount(), 20000U);
    EXPECT_THAT(scratch_.names(), ::testing::ElementsAre("a.m4a", "moved.m4a"));
}

TEST_F(AssetWriterTest, BringsBackAFileThatWasRemovedWhileWriting) {
    TestRecording recording(path_, kMono);
    ASSERT_TRUE(recording.append(noise(0.1, 20000)));
    std::filesystem::remove(path_);
    recording.finish();
    EXPECT_EQ(recording.writer().status(), Status::completed);
    EXPECT_GE(decodeAudioFile(path_).frameCount(), 20000U);
    EXPECT_THAT(scratch_.names(), ::testing::ElementsAre("a.m4a"));
}

TEST_F(AssetWriterTest, FailsToFinishWhenTheDirectoryIsGone) {
    const std::string directory = scratch_.file("d");
    std::filesystem::create_directory(directory);
    TestRecording recording(directory + "/a.m4a", kMono);
    ASSERT_TRUE(recording.append(noise(0.1, 20000)));
    std::filesystem::remove_all(directory);
    recording.finish();
    EXPECT_EQ(recording.writer().status(), Status::failed);
    ASSERT_TRUE(recording.writer().error());
    EXPECT_EQ(recording.writer().error()->code(), ENOENT);
}

}  // namespace
}  // namespace tapwell::test
