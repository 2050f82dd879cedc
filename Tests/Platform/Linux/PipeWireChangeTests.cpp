#include "CaptureRecorder.h"
#include "HardwareReader.h"
#include "Platform/Linux/AsioSerialQueue.h"
#include "Platform/Linux/PipeWireAudioHardware.h"
#include "Support/AudioFeed.h"
#include "Support/PrivateAudioServer.h"
#include "Support/TemporaryDirectory.h"
#include "Support/ToneAnalysis.h"
#include "Support/WavFile.h"
#include "SystemTap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <thread>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

void ignoreLine(const std::string&) {}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit = 5s) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

/// Counts the notices of a default device while it lives.
class NoticeCounter {
public:
    NoticeCounter(AudioHardware& hardware, std::uint32_t selector)
        : hardware_(hardware), address_(HardwareReader::address(selector)) {
        listener_ = std::make_shared<AudioPropertyListenerBlock>(
            [this](std::span<const AudioObjectPropertyAddress> addresses) {
                const bool isOurs =
                    std::find(addresses.begin(), addresses.end(), address_) != addresses.end();
                const bool isOnQueue = std::this_thread::get_id() == queueThread_;
                if (isOurs && isOnQueue) ++count_;
            });
        queue_->sync([this] { queueThread_ = std::this_thread::get_id(); });
        EXPECT_EQ(
            hardware_.addPropertyListener(kAudioObjectSystemObject, address_, queue_, listener_),
            noErr);
    }
    ~NoticeCounter() {
        EXPECT_EQ(
            hardware_.removePropertyListener(kAudioObjectSystemObject, address_, queue_, listener_),
            noErr);
        queue_->sync([] {});
    }
    NoticeCounter(const NoticeCounter&) = delete;
    NoticeCounter& operator=(const NoticeCounter&) = delete;

    int count() const { return count_; }

private:
    AudioHardware& hardware_;
    AudioObjectPropertyAddress address_;
    std::shared_ptr<SerialQueue> queue_ =
        std::make_shared<AsioSerialQueue>("Test.Notices", QualityOfService::standard);
    std::thread::id queueThread_;
    AudioPropertyListener listener_;
    std::atomic<int> count_{0};
};

TEST(PipeWireChanges, ASwitchOfTheDefaultSinkIsNotified) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const NoticeCounter output(hardware, kAudioHardwarePropertyDefaultOutputDevice);
    const NoticeCounter system(hardware, kAudioHardwarePropertyDefaultSystemOutputDevice);
    const NoticeCounter input(hardware, kAudioHardwarePropertyDefaultInputDevice);
    server.setDefaultSink("out-b");
    EXPECT_TRUE(eventually([&] { return output.count() == 1 && system.count() == 1; }));
    EXPECT_EQ(reader.defaultSinkName(), "out-b");
    EXPECT_EQ(input.count(), 0);
    server.setDefaultSource("mic-b");
    EXPECT_TRUE(eventually([&] { return input.count() == 1; }));
    EXPECT_EQ(reader.text(reader.defaultSource(), kAudioDevicePropertyDeviceUID), "mic-b");
    EXPECT_EQ(output.count(), 1);
}

TEST(PipeWireChanges, ARemovedListenerIsNotCalled) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    auto queue = std::make_shared<AsioSerialQueue>("Test.Notices", QualityOfService::standard);
    std::atomic<int> calls{0};
    const auto listener = std::make_shared<AudioPropertyListenerBlock>(
        [&](std::span<const AudioObjectPropertyAddress>) { ++calls; });
    const auto address = HardwareReader::address(kAudioHardwarePropertyDefaultOutputDevice);
    ASSERT_EQ(hardware.addPropertyListener(kAudioObjectSystemObject, address, queue, listener),
              noErr);
    ASSERT_EQ(hardware.removePropertyListener(kAudioObjectSystemObject, address, queue, listener),
              noErr);
    EXPECT_NE(hardware.removePropertyListener(kAudioObjectSystemObject, address, queue, listener),
              noErr);
    server.setDefaultSink("out-b");
    ASSERT_TRUE(eventually([&] { return reader.defaultSinkName() == "out-b"; }));
    queue->sync([] {});
    EXPECT_EQ(calls, 0);
}

TEST(PipeWireChanges, TheLastMicrophoneGoesAndComes) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    server.destroyNode("mic-b");
    const NoticeCounter input(hardware, kAudioHardwarePropertyDefaultInputDevice);
    server.destroyNode("mic-a");
    EXPECT_TRUE(eventually([&] { return input.count() > 0; }));
    EXPECT_TRUE(eventually([&] { return reader.defaultSource() == kAudioObjectUnknown; }));
    const int before = input.count();
    server.createNode(
        "node.name=mic-c media.class=Audio/Source/Virtual audio.position=[MONO] "
        "priority.session=2000");
    EXPECT_TRUE(eventually([&] {
        return reader.text(reader.defaultSource(), kAudioDevicePropertyDeviceUID) == "mic-c";
    }));
    EXPECT_TRUE(eventually([&] { return input.count() > before; }));
}

/// A procedure on the default sink goes on recording that sink, and nothing of the new default.
TEST(PipeWireChanges, AProcedureStaysWithItsDevice) {
    TemporaryDirectory directory;
    const auto tone = [](double frequencyHz) { return makeTone(frequencyHz / 48000, 48000); };
    writeWavFile(directory / "a.wav", 48000, {tone(1000), tone(1000)});
    writeWavFile(directory / "b.wav", 48000, {tone(3000), tone(3000)});
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const SystemTap system(hardware, "out-a");
    const CaptureRecorder recorder(hardware, system.device());
    const CaptureRecorder microphone(hardware, reader.defaultSource());
    ASSERT_TRUE(recorder.waitForFrames(4096) && microphone.waitForFrames(4096));

    server.setDefaultSink("out-b");
    server.setDefaultSource("mic-b");
    ASSERT_TRUE(eventually([&] { return reader.defaultSinkName() == "out-b"; }));
    AudioFeed intoNewDefault = AudioFeed::intoSink("out-b", directory / "b.wav");
    AudioFeed intoPinned = AudioFeed::intoSink("out-a", directory / "a.wav");
    intoNewDefault.waitForEnd();
    intoPinned.waitForEnd();

    const std::vector<float> samples = recorder.channel(0);
    const auto loud = std::find_if(samples.begin(), samples.end(),
                                   [](float sample) { return std::abs(sample) > 0.25F; });
    ASSERT_GT(samples.end() - loud, 40000);
    const ToneFit fit = fitTone({&*loud + 2400, 33600}, 1000.0 / 48000);
    EXPECT_NEAR(fit.amplitude, 0.5, 0.001);
    EXPECT_LT(fit.thdPlusNoiseDb(), -80);
    const std::size_t frames = microphone.frameCount();
    EXPECT_TRUE(microphone.waitForFrames(frames + 4096));
}

TEST(PipeWireChanges, ADestroyedSinkSilencesItsProcedure) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const SystemTap system(hardware, "out-a");
    const CaptureRecorder recorder(hardware, system.device());
    ASSERT_TRUE(recorder.waitForFrames(4096));
    server.destroyNode("out-a");
    ASSERT_TRUE(eventually([&] { return reader.defaultSinkName() == "out-b"; }));
    std::this_thread::sleep_for(100ms);
    const std::size_t frames = recorder.frameCount();
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(recorder.frameCount(), frames);
    EXPECT_EQ(reader.status(system.device(), kAudioDevicePropertyActualSampleRate),
              kAudioHardwareBadDeviceError);
}

TEST(PipeWireChanges, AKilledServerSilencesAndItsReturnIsNotified) {
    PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const AudioObjectID oldSink = reader.defaultSink();
    const NoticeCounter output(hardware, kAudioHardwarePropertyDefaultOutputDevice);
    const NoticeCounter input(hardware, kAudioHardwarePropertyDefaultInputDevice);
    {
        const SystemTap system(hardware, "out-a");
        const CaptureRecorder recorder(hardware, system.device());
        ASSERT_TRUE(recorder.waitForFrames(4096));
        server.stop();
        ASSERT_TRUE(eventually([&] { return reader.defaultSink() == kAudioObjectUnknown; }));
        recorder.queue()->sync([] {});
        const std::size_t frames = recorder.frameCount();
        AudioIOProcID refused = 0;
        EXPECT_NE(hardware.createIOProcID(refused, system.device(), recorder.queue(), {}), noErr);
        std::this_thread::sleep_for(700ms);
        EXPECT_EQ(recorder.frameCount(), frames);
        // Procedure, aggregate and tap are destroyed without a server here.
    }
    const int outputs = output.count();
    const int inputs = input.count();
    server.start();
    EXPECT_TRUE(eventually([&] { return output.count() > outputs && input.count() > inputs; }));
    EXPECT_TRUE(eventually([&] { return reader.defaultSinkName() == "out-a"; }));
    EXPECT_NE(reader.defaultSink(), oldSink);
    EXPECT_EQ(reader.status(oldSink, kAudioDevicePropertyDeviceUID), kAudioHardwareBadObjectError);
    const CaptureRecorder again(hardware, reader.defaultSource());
    EXPECT_TRUE(again.waitForFrames(4096));
}

TEST(PipeWireChanges, ALaterCallFindsAServerThatIsBack) {
    PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    ASSERT_EQ(reader.defaultSinkName(), "out-a");
    server.stop();
    ASSERT_TRUE(eventually([&] { return reader.defaultSink() == kAudioObjectUnknown; }));
    server.start();
    EXPECT_EQ(reader.defaultSinkName(), "out-a");
}

/// The defaults come from the session manager's own process, which may be busy when we connect.
TEST(PipeWireChanges, ASlowSessionManagerIsWaitedFor) {
    const PrivateAudioServer server;
    kill(server.sessionManagerPid(), SIGSTOP);
    std::thread resume([&] {
        std::this_thread::sleep_for(80ms);
        kill(server.sessionManagerPid(), SIGCONT);
    });
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    EXPECT_EQ(reader.defaultSinkName(), "out-a");
    EXPECT_NE(reader.defaultSource(), kAudioObjectUnknown);
    resume.join();
}

TEST(PipeWireChanges, ASessionManagerThatRestartsKeepsTheDevices) {
    PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const AudioObjectID sink = reader.defaultSink();
    const AudioObjectID source = reader.defaultSource();
    ASSERT_NE(sink, kAudioObjectUnknown);
    ASSERT_NE(source, kAudioObjectUnknown);
    server.stopSessionManager();
    server.startSessionManager();
    EXPECT_TRUE(eventually([&] { return reader.defaultSink() == sink; }));
    EXPECT_TRUE(eventually([&] { return reader.defaultSource() == source; }));
}

}  // namespace
}  // namespace tapwell::test
