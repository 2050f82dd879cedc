#include "Fakes/FakeSystem.h"
#include "Platform/macOS/SystemAssetWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tapwell {
namespace {

using maccheck::FakeSystem;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Status = AssetWriter::Status;

constexpr AudioOutputSettings kSettings{kAudioFormatMPEG4AAC, 44100, 2, 128000};

std::shared_ptr<const AudioFormatDescription> stereo() {
    std::shared_ptr<const AudioFormatDescription> format;
    AudioFormatDescription::create({44100, kAudioFormatLinearPCM, 9, 8, 1, 8, 2, 32, 0}, format);
    return format;
}

SampleBuffer makeBuffer(std::int64_t frame = 0) {
    std::shared_ptr<BlockBuffer> data;
    BlockBuffer::create(32, data);
    std::optional<SampleBuffer> buffer;
    SampleBuffer::create(data, stereo(), 4,
                         {MediaTime::make(1, 44100), MediaTime::make(frame, 44100)}, buffer);
    return *buffer;
}

/// A new one, for tests may run side by side.
std::filesystem::path makeFolder() {
    std::string name = testing::TempDir() + "tapwell-asset-writer-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
    return name;
}

/// An input of other making.
struct OtherInput : AssetWriterInput {
    void setExpectsMediaDataInRealTime(bool) override {}
    bool expectsMediaDataInRealTime() const override { return false; }
    bool isReadyForMoreMediaData() const override { return false; }
    bool append(const SampleBuffer&) override { return false; }
    void markAsFinished() override {}
};

struct AssetWriterCallTest : testing::Test {
    AssetWriterCallTest() { fake.reset(); }
    ~AssetWriterCallTest() override {
        input.reset();
        writer.reset();
        fake.drain();
        EXPECT_THAT(fake.violations, IsEmpty());
        EXPECT_TRUE(fake.isClean()) << fake.liveObjects << " references left";
        std::filesystem::remove_all(folder);
    }

    void make() {
        writer = std::make_unique<SystemAssetWriter>(path);
        input = writer->makeInput(kSettings, stereo());
    }
    void makeAndAdd() {
        make();
        writer->add(input);
    }
    bool start() {
        const bool hasStarted = writer->startWriting();
        if (hasStarted) writer->startSession(MediaTime::make(4410, 44100));
        return hasStarted;
    }
    void finish() {
        writer->finishWriting([this] { ++completions; });
    }
    /// Of what making a writer throws.
    static std::string refusal(const std::string& of) {
        try {
            SystemAssetWriter refused(of);
        } catch (const RecorderError& error) {
            return error.domain() + ' ' + std::to_string(error.code()) + ' ' + error.description();
        }
        return "";
    }
    std::string errorText() const {
        const std::optional<RecorderError> error = writer->error();
        return error ? error->domain() + ' ' + std::to_string(error->code()) + ' ' +
                           error->description()
                     : "none";
    }

    FakeSystem& fake = FakeSystem::get();
    const std::filesystem::path folder = makeFolder();
    const std::string path = folder / "a b.m4a";
    std::unique_ptr<SystemAssetWriter> writer;
    std::shared_ptr<AssetWriterInput> input;
    int completions = 0;
};

TEST_F(AssetWriterCallTest, WritesAFileInOrder) {
    makeAndAdd();
    input->setExpectsMediaDataInRealTime(true);
    EXPECT_TRUE(input->expectsMediaDataInRealTime());
    EXPECT_EQ(writer->status(), Status::unknown);
    EXPECT_FALSE(input->isReadyForMoreMediaData());
    ASSERT_TRUE(start());
    EXPECT_EQ(writer->status(), Status::writing);
    EXPECT_TRUE(input->isReadyForMoreMediaData());
    EXPECT_TRUE(input->append(makeBuffer(0)));
    EXPECT_TRUE(input->append(makeBuffer(4)));
    input->markAsFinished();
    EXPECT_FALSE(input->isReadyForMoreMediaData());
    finish();
    EXPECT_EQ(completions, 0) << "it comes on another queue";
    fake.drain();
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(writer->status(), Status::completed);
    EXPECT_FALSE(writer->error());
    std::erase_if(fake.calls, [](const std::string& call) { return call.starts_with("CM"); });
    const std::string append = R"(-[AVAssetWriterInput appendSampleBuffer:] ""32 bytes" of )"
                               R"("44100 Hz, 2 ch": 4 x 8 at )";
    EXPECT_THAT(
        fake.calls,
        ElementsAre("-[AVAssetWriter init] file://" + path + R"( as "com.apple.m4a-audio")",
                    "-[AVAssetWriter setMovieFragmentInterval:] 1/5",
                    R"(-[AVAssetWriterInput init] "soun" {"AVEncoderBitRateKey": 128000, )"
                    R"("AVFormatIDKey": 1633772320, "AVNumberOfChannelsKey": 2, )"
                    R"("AVSampleRateKey": 44100.0} "44100 Hz, 2 ch")",
                    "-[AVAssetWriter canAddInput:]", "-[AVAssetWriter addInput:]",
                    "-[AVAssetWriterInput setExpectsMediaDataInRealTime:] 1",
                    "-[AVAssetWriter startWriting]",
                    "-[AVAssetWriter startSessionAtSourceTime:] 4410/44100",
                    append + R"(0/44100 for 1/44100, decoded 0/0 invalid")",
                    append + R"(4/44100 for 1/44100, decoded 0/0 invalid")",
                    "-[AVAssetWriterInput markAsFinished]", "-[AVAssetWriter finishWriting]"));
}

TEST_F(AssetWriterCallTest, RefusesAPathThatIsTakenWithoutAskingTheSystem) {
    std::filesystem::create_symlink("nowhere", path);
    EXPECT_EQ(refusal(path), "POSIX 17 Cannot create recording file \"" + path + "\": File exists");
    EXPECT_THAT(fake.calls, IsEmpty());
    EXPECT_TRUE(std::filesystem::is_symlink(path));
}

TEST_F(AssetWriterCallTest, RefusesWhatTheSystemRefusesAndLeavesNothing) {
    fake.failures = {{"-[AVAssetWriter init]", -11828}};
    EXPECT_EQ(refusal(path),
              "Fake -11828 Cannot create recording file \"" + path + "\": the writer failed");
    EXPECT_EQ(fake.liveObjects, 0);
    fake.failures = {{"-[AVAssetWriter init]", -1}};
    EXPECT_EQ(refusal(path), "NSError 0 Cannot create recording file \"" + path +
                                 "\": the system gives no reason");
    EXPECT_EQ(fake.liveObjects, 0);
}

TEST_F(AssetWriterCallTest, RefusesAPathThatTheSystemWouldThrowAt) {
    EXPECT_EQ(refusal("/tmp/\xFF"), "POSIX " + std::to_string(EILSEQ) +
                                        " Cannot create recording file \"/tmp/\xFF\": "
                                        "the path is no UTF-8");
    EXPECT_THAT(fake.calls, IsEmpty());
}

TEST_F(AssetWriterCallTest, AFileThatAppearsBeforeTheStartIsLeftAndFailsIt) {
    makeAndAdd();
    std::ofstream(path) << "someone's";
    EXPECT_FALSE(start());
    EXPECT_EQ(writer->status(), Status::failed);
    EXPECT_EQ(errorText(), "Fake -11823 the start failed");
    EXPECT_TRUE(input->isReadyForMoreMediaData()) << "so that a queue before it runs empty";
    EXPECT_FALSE(input->append(makeBuffer()));
    input->markAsFinished();
    finish();
    EXPECT_EQ(completions, 1);
    EXPECT_THAT(fake.calls, Not(Contains("-[AVAssetWriterInput markAsFinished]")));
    EXPECT_EQ(std::filesystem::file_size(path), 9u);
}

TEST_F(AssetWriterCallTest, DoesWithoutFragmentsWhereThereAreNone) {
    fake.failures = {{"-[AVAssetWriter setMovieFragmentInterval:]", -1}};
    makeAndAdd();
    EXPECT_TRUE(start());
    EXPECT_TRUE(input->append(makeBuffer()));
}

TEST_F(AssetWriterCallTest, SettingsThatTheSystemThrowsAtGiveAnInputThatNobodyTakes) {
    fake.failures = {{"-[AVAssetWriterInput init]", -1}};
    make();
    EXPECT_FALSE(writer->canAdd(*input));
    writer->add(input);
    EXPECT_FALSE(input->isReadyForMoreMediaData());
    EXPECT_FALSE(input->append(makeBuffer()));
    EXPECT_THAT(fake.calls, Not(Contains("-[AVAssetWriter addInput:]")));
}

TEST_F(AssetWriterCallTest, TakesOneInputOfItsOwn) {
    makeAndAdd();
    EXPECT_FALSE(writer->canAdd(*input));
    const auto second = writer->makeInput(kSettings, nullptr);
    EXPECT_THAT(fake.calls.back(), testing::EndsWith(" no hint"));
    EXPECT_FALSE(writer->canAdd(*second));
    writer->add(second);
    writer->add(nullptr);
    const auto other = std::make_shared<OtherInput>();
    EXPECT_FALSE(writer->canAdd(*other));
    writer->add(other);
    EXPECT_THAT(fake.calls, Contains("-[AVAssetWriter addInput:]").Times(1));
}

TEST_F(AssetWriterCallTest, DoesNotAddWhatTheSystemCannot) {
    fake.failures = {{"-[AVAssetWriter canAddInput:]", -1}};
    makeAndAdd();
    EXPECT_FALSE(writer->canAdd(*input));
    EXPECT_THAT(fake.calls, Not(Contains("-[AVAssetWriter addInput:]")));
}

TEST_F(AssetWriterCallTest, AHintThatCannotBeMadeIsLeftOut) {
    fake.failures = {{"CMAudioFormatDescriptionCreate", -12710}};
    makeAndAdd();
    EXPECT_THAT(fake.calls, Contains(testing::EndsWith(" no hint")));
}

TEST_F(AssetWriterCallTest, AFailedStartSaysWhy) {
    fake.failures = {{"-[AVAssetWriter startWriting]", -11800}};
    makeAndAdd();
    EXPECT_FALSE(start());
    EXPECT_EQ(errorText(), "Fake -11800 the start failed");
    fake.failures = {};
    EXPECT_FALSE(start()) << "the system throws at a second start";
    finish();
    EXPECT_EQ(completions, 1);
}

TEST_F(AssetWriterCallTest, AnAppendThatFailsEndsTheWriting) {
    makeAndAdd();
    ASSERT_TRUE(start());
    EXPECT_TRUE(input->append(makeBuffer()));
    fake.failures = {{"-[AVAssetWriterInput appendSampleBuffer:]", -28}};
    EXPECT_FALSE(input->append(makeBuffer()));
    EXPECT_EQ(writer->status(), Status::failed);
    EXPECT_EQ(errorText(), "Fake -28 the encoder failed");
    EXPECT_TRUE(input->isReadyForMoreMediaData()) << "so that a queue before it runs empty";
    fake.calls.clear();
    EXPECT_FALSE(input->append(makeBuffer()));
    input->markAsFinished();
    finish();
    EXPECT_EQ(completions, 1) << "there is nothing to wait for";
    EXPECT_THAT(fake.calls, IsEmpty()) << "the system would throw";
}

TEST_F(AssetWriterCallTest, ABufferThatTheSystemThrowsAtIsLost) {
    makeAndAdd();
    ASSERT_TRUE(start());
    fake.failures = {{"-[AVAssetWriterInput isReadyForMoreMediaData]", -1}};
    EXPECT_FALSE(input->isReadyForMoreMediaData());
    EXPECT_FALSE(input->append(makeBuffer()));
    fake.failures = {};
    EXPECT_TRUE(input->append(makeBuffer()));
}

TEST_F(AssetWriterCallTest, ABufferThatTheSystemCannotMakeIsLost) {
    makeAndAdd();
    ASSERT_TRUE(start());
    fake.failures = {{"CMSampleBufferCreateReady", -12731}};
    EXPECT_FALSE(input->append(makeBuffer()));
    EXPECT_THAT(fake.calls, Each(Not(StartsWith("-[AVAssetWriterInput append"))));
    EXPECT_EQ(writer->status(), Status::writing);
}

TEST_F(AssetWriterCallTest, AnEndThatFailsIsAFailureWhenItCompletes) {
    fake.failures = {{"-[AVAssetWriter finishWriting]", -11847}};
    makeAndAdd();
    ASSERT_TRUE(start());
    finish();
    EXPECT_EQ(writer->status(), Status::writing);
    fake.drain();
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(writer->status(), Status::failed);
    EXPECT_EQ(errorText(), "Fake -11847 the end failed");
}

/// Between the question for the status and the call that needs it.
TEST_F(AssetWriterCallTest, AWriterThatFailsMeanwhileIsAFailureAndNoCrash) {
    makeAndAdd();
    fake.failures = {{"-[AVAssetWriter startSessionAtSourceTime:]", -28}};
    start();
    EXPECT_EQ(errorText(), "Fake -28 the disk failed");
    input->markAsFinished();
    finish();
    EXPECT_EQ(completions, 1);
    writer.reset();
    input.reset();
    std::filesystem::remove(path);

    makeAndAdd();
    fake.failures = {{"-[AVAssetWriterInput markAsFinished]", -28}};
    ASSERT_TRUE(start());
    finish();
    EXPECT_EQ(completions, 2);
    fake.drain();
    EXPECT_EQ(completions, 2) << "once";
    EXPECT_EQ(errorText(), "Fake -28 the encoder failed");
}

TEST_F(AssetWriterCallTest, AnInputThatTheSystemThrowsAtIsFinishedAllTheSame) {
    makeAndAdd();
    ASSERT_TRUE(writer->startWriting());  // and no session
    input->markAsFinished();
    EXPECT_FALSE(input->isReadyForMoreMediaData());
}

TEST_F(AssetWriterCallTest, FinishesTheInputItselfAndTakesNothingMore) {
    makeAndAdd();
    ASSERT_TRUE(start());
    finish();
    EXPECT_FALSE(input->isReadyForMoreMediaData());
    EXPECT_FALSE(input->append(makeBuffer()));
    input->markAsFinished();
    fake.drain();
    EXPECT_THAT(fake.calls, Contains("-[AVAssetWriterInput markAsFinished]").Times(1));
}

TEST_F(AssetWriterCallTest, AWriterThatNeverWroteIsFinishedAtOnce) {
    makeAndAdd();
    finish();
    EXPECT_EQ(completions, 1);
    EXPECT_THAT(fake.calls, Not(Contains("-[AVAssetWriter finishWriting]")));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(AssetWriterCallTest, TheCompletionMayLetGoOfTheWriter) {
    makeAndAdd();
    ASSERT_TRUE(start());
    writer->finishWriting([this] {
        EXPECT_EQ(writer->status(), Status::completed);
        input.reset();
        writer.reset();
    });
    fake.drain();
    EXPECT_FALSE(writer);
}

TEST_F(AssetWriterCallTest, TheInputMayOutliveItsWriter) {
    makeAndAdd();
    ASSERT_TRUE(start());
    writer.reset();
    EXPECT_TRUE(input->append(makeBuffer()));
    input->markAsFinished();
}

}  // namespace
}  // namespace tapwell
