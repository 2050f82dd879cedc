#include "Platform/RecorderError.h"
#include "Platform/Simulated/SimulatedAssetWriter.h"
#include "Platform/Simulated/SimulatedQueueFactory.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Support/TemporaryDirectory.h"
#include "Tapwell/Outputs/MixedPCMSampleBuilder.h"
#include "Tapwell/Outputs/TrackSink.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace tapwell {
namespace {

using namespace std::chrono_literals;

struct Sink : testing::Test {
    test::TemporaryDirectory folder;
    VirtualTime time;
    SimulatedQueueFactory queues{time};
    SimulatedAssetWriterFactory writers{time};
    SimulatedStandardStreams streams;
    SimulatedWriterScript& script = writers.script;
    MixedPCMSampleBuilder builder{48000};
    std::string path = folder.file("upload_audio.m4a");
    std::vector<std::int64_t> reportedBytes;
    std::shared_ptr<TrackSink> sink = make();
    int nextBuffer = 0;

    std::shared_ptr<TrackSink> make(
        TrackSinkEncoding encoding = TrackSinkEncoding::mixedMonoFloatPCMToAAC) {
        return TrackSink::create({writers, queues, streams}, path, "mixed", encoding,
                                 [this](std::int64_t bytes) { reportedBytes.push_back(bytes); });
    }
    /// A buffer whose every sample says its place in the order of appends.
    SampleBuffer buffer(MediaTime pts = MediaTime::make(5000, 48000)) {
        return builder.makeSampleBuffer(std::vector<float>(1024, static_cast<float>(nextBuffer++)),
                                        pts);
    }
    void append(int count) {
        for (int i = 0; i < count; ++i)
            sink->append(buffer());
    }
    SampleBuffer bufferWithoutFormat() {
        std::shared_ptr<BlockBuffer> data;
        EXPECT_EQ(BlockBuffer::create(4096, data), noErr);
        std::optional<SampleBuffer> result;
        EXPECT_EQ(SampleBuffer::create(data, nullptr, 1024,
                                       {MediaTime::make(1, 48000), MediaTime::zero(), {}}, result),
                  noErr);
        return *result;
    }
    void expectAppendedInOrder(int count) const {
        ASSERT_EQ(script.samples.size(), static_cast<std::size_t>(count) * 1024);
        for (int i = 0; i < count; ++i)
            ASSERT_EQ(script.samples[static_cast<std::size_t>(i) * 1024], static_cast<float>(i));
    }
    static std::string startFailed(const std::string& message) {
        return "{\"event\":\"error\",\"code\":\"RECORDER_START_FAILED\",\"message\":\"" + message +
               "\"}";
    }
    bool fileExists() const { return std::filesystem::exists(path); }
};

TEST_F(Sink, TheFirstBufferDecidesTheSettings) {
    const auto settings = [](double rate, std::uint32_t channels) {
        AudioStreamBasicDescription stream;
        stream.sampleRate = rate;
        stream.channelsPerFrame = channels;
        std::shared_ptr<const AudioFormatDescription> format;
        EXPECT_EQ(AudioFormatDescription::create(stream, format), noErr);
        return TrackSink::aacOutputSettings(*format);
    };
    EXPECT_EQ(settings(48000, 2), (AudioOutputSettings{1633772320, 48000.0, 2, 96000}));
    EXPECT_EQ(settings(48000, 1), (AudioOutputSettings{1633772320, 48000.0, 1, 96000}));
    EXPECT_EQ(settings(16000, 1), (AudioOutputSettings{1633772320, 16000.0, 1, 40000}));
    EXPECT_EQ(settings(11025, 1), (AudioOutputSettings{1633772320, 11025.0, 1, 28000}));
    EXPECT_EQ(settings(8000, 1), (AudioOutputSettings{1633772320, 8000.0, 1, 28000}));
    EXPECT_EQ(settings(44100, 1), (AudioOutputSettings{1633772320, 44100.0, 1, 96000}));
    EXPECT_EQ(settings(16000.5, 1), (AudioOutputSettings{1633772320, 16000.5, 1, 40001}));
}

TEST_F(Sink, AFormatWithoutAStreamDescriptionGetsTheDefaults) {
    EXPECT_EQ(TrackSink::aacOutputSettings(*AudioFormatDescription::withoutStreamDescription()),
              (AudioOutputSettings{1633772320, 48000.0, 1, 96000}));
}

TEST_F(Sink, AWriterThatCannotBeMadeFailsTheConstruction) {
    EXPECT_THROW(make(), RecorderError) << "the file exists by now";
    script.makeWriterFails = true;
    path = folder.file("other.m4a");
    EXPECT_THROW(make(), RecorderError);
}

TEST_F(Sink, TheFirstBufferSetsTheWriterUpAtItsTime) {
    append(2);
    EXPECT_EQ(script.sessionStarts.size(), 1U);
    EXPECT_EQ(script.sessionStarts[0].value, 5000);
    EXPECT_EQ(script.expectsRealTime, std::vector<bool>{false});
    time.settle();
    expectAppendedInOrder(2);
    EXPECT_EQ(reportedBytes, (std::vector<std::int64_t>{4096, 4096})) << "increments, not totals";
    EXPECT_EQ(sink->bytesWritten(), 8192);
    EXPECT_EQ(sink->appendedBufferCount(), 2);
    EXPECT_TRUE(sink->hadAnySample());
}

TEST_F(Sink, AFirstBufferWithoutAUsableTimeStartsTheSessionAtZero) {
    sink->append(buffer(MediaTime::invalid()));
    EXPECT_EQ(script.sessionStarts[0].seconds(), 0);
}

TEST_F(Sink, OnlyMatchingTheSourceExpectsRealTimeData) {
    sink = nullptr;
    sink = make(TrackSinkEncoding::matchSourceFormat);
    append(1);
    EXPECT_EQ(script.expectsRealTime, std::vector<bool>{true});
}

TEST_F(Sink, BuffersWithoutAFormatAreReportedEachAndTheNextGoodOneIsTaken) {
    sink->append(bufferWithoutFormat());
    sink->append(bufferWithoutFormat());
    append(1);
    time.settle();
    const std::string event = startFailed("[mixed] No format description on first audio sample");
    EXPECT_EQ(streams.outputLines(), (std::vector<std::string>{event, event}));
    expectAppendedInOrder(1);
}

TEST_F(Sink, EverySetUpFailureIsReportedAndTriedAgain) {
    script.refusesInput = true;
    append(1);
    script.refusesInput = false;
    script.startWritingFails = true;
    append(1);
    script.startWritingFails = false;
    script.startWritingFailsWithoutError = true;
    append(1);
    EXPECT_EQ(
        streams.outputLines(),
        (std::vector<std::string>{startFailed("[mixed] Cannot add audio input to asset writer"),
                                  startFailed("simulated start failure")}));
    EXPECT_FALSE(sink->hadAnySample());
    script.startWritingFailsWithoutError = false;
    append(1);
    time.settle();
    EXPECT_EQ(script.appendCalls, 1);
}

TEST_F(Sink, WhileTheInputIsBusyOneDelayedDrainIsPendingAtATime) {
    append(1);
    time.settle();
    script.ready = false;
    append(50);
    // Each buffer asks for a drain; all but the delayed one are done when time has settled.
    time.settle();
    EXPECT_EQ(script.appendCalls, 1);
    time.advance(4ms - 1ns);
    script.ready = true;
    EXPECT_EQ(script.appendCalls, 1) << "nothing looks before the back-off is over";
    time.advance(1ns);
    expectAppendedInOrder(51);
}

TEST_F(Sink, TheBackOffIsArmedAgainEvery4Milliseconds) {
    script.ready = false;
    append(3);
    time.advance(1s);
    EXPECT_EQ(script.appendCalls, 0);
    script.ready = true;
    time.advance(4ms);
    expectAppendedInOrder(3);
    script.ready = false;
    time.advance(1s);  // an empty queue arms nothing
    script.ready = true;
    append(1);
    time.settle();
    expectAppendedInOrder(4);
}

TEST_F(Sink, ASlowWriterGetsEverythingInOrder) {
    script.buffersPerBurst = 1;
    script.busyTime = 7ms;
    for (int i = 0; i < 100; ++i) {
        append(1);
        time.advance(1ms);
    }
    EXPECT_LT(script.appendCalls, 20);
    auto task = sink->finishWriter();
    ASSERT_TRUE(task);
    task->await();
    expectAppendedInOrder(100);
    EXPECT_EQ(script.appendedWhenMarkedFinished, 100) << "all were appended before the end mark";
    EXPECT_EQ(script.finishCalls, 1);
}

TEST_F(Sink, FinishWaitsForTheFile) {
    append(10);
    script.finishTime = 250ms;
    auto task = sink->finishWriter();
    ASSERT_TRUE(task);
    const auto before = time.now();
    task->await();
    EXPECT_EQ(time.now() - before, 250ms);
    expectAppendedInOrder(10);
    EXPECT_EQ(script.appendedWhenMarkedFinished, 10);
}

TEST_F(Sink, FinishOfASinkThatReceivedNothingRemovesTheFile) {
    ASSERT_TRUE(fileExists());
    EXPECT_FALSE(sink->finishWriter());
    EXPECT_FALSE(fileExists());
    EXPECT_EQ(script.finishCalls, 0);
}

TEST_F(Sink, FinishAfterSetUpNeverSucceededRemovesTheFile) {
    script.startWritingFails = true;
    append(3);
    EXPECT_FALSE(sink->finishWriter());
    EXPECT_FALSE(fileExists());
}

TEST_F(Sink, ASinkDroppedUnfinishedBeforeAnyBufferLeavesNoFile) {
    sink = nullptr;
    EXPECT_FALSE(fileExists());
}

TEST_F(Sink, AnAppendThatFailsIsCountedAndLoggedAndNotTriedAgain) {
    script.failingAppends = {2, 4};
    append(5);
    time.settle();
    EXPECT_EQ(script.appendCalls, 5);
    EXPECT_EQ(sink->appendFailureCount(), 2);
    EXPECT_EQ(sink->appendedBufferCount(), 3);
    EXPECT_EQ(script.samples[1024], 2.0F) << "buffer 1 was dropped, buffer 2 followed";
    EXPECT_EQ(streams.countErrorLines("[Tapwell][track-mixed] append(buffer) returned false "
                                      "(failures=1) writer.status=1 error=nil"),
              1);
    EXPECT_EQ(streams.countErrorLines("(failures=2)"), 1);
}

TEST_F(Sink, AWriterThatFailsForGoodDoesNotHangTheFinish) {
    script.failsFromAppend = 3;
    append(5);
    time.settle();
    EXPECT_EQ(streams.countErrorLines("writer.status=3 error=simulated disk full"), 3);
    script.ready = false;  // as real inputs of a failed writer are
    append(2);
    auto task = sink->finishWriter();
    ASSERT_TRUE(task);
    task->await();
    EXPECT_EQ(sink->appendFailureCount(), 5);
    EXPECT_EQ(
        streams.countErrorLines("finishWriting ended with status=3 error=simulated disk full"), 1);
}

TEST_F(Sink, AFinishThatFailsStillReturnsAndIsLogged) {
    append(1);
    script.finishFails = true;
    sink->finishWriter()->await();
    EXPECT_EQ(streams.countErrorLines("[Tapwell][track-mixed] finishWriting ended with status=3 "
                                      "error=simulated finish failure"),
              1);
}

TEST_F(Sink, AnInvalidatedBufferIsPassedOver) {
    append(1);
    SampleBuffer spoiled = buffer();
    spoiled.invalidate();
    sink->append(spoiled);
    append(1);
    time.settle();
    EXPECT_EQ(script.appendCalls, 2);
    EXPECT_EQ(sink->appendFailureCount(), 0);
}

TEST_F(Sink, WorkScheduledForASinkThatIsGoneDoesNothing) {
    script.ready = false;
    append(5);
    time.settle();
    sink = nullptr;
    script.ready = true;
    time.advance(1s);
    EXPECT_EQ(script.appendCalls, 0);
}

}  // namespace
}  // namespace tapwell
