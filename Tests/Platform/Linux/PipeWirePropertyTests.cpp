#include "HardwareReader.h"
#include "Platform/Linux/PipeWireAudioHardware.h"
#include "Platform/PropertyObject.h"
#include "Support/PrivateAudioServer.h"
#include "SystemTap.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

namespace tapwell::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kUid = kAudioDevicePropertyDeviceUID;

void ignoreLine(const std::string&) {}

class PipeWireProperties : public testing::TestWithParam<int> {};

TEST_P(PipeWireProperties, DescribeTheDefaultDevices) {
    const PrivateAudioServer server({.sampleRateHz = GetParam()});
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const double rate = GetParam();

    const AudioObjectID sink = reader.defaultSink();
    EXPECT_GT(sink, kAudioObjectSystemObject);
    EXPECT_EQ(reader.word(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice),
              sink);
    EXPECT_EQ(reader.text(sink, kUid), "out-a");
    EXPECT_EQ(reader.number(sink, kAudioDevicePropertyNominalSampleRate), rate);
    EXPECT_EQ(reader.number(sink, kAudioDevicePropertyActualSampleRate), rate);
    EXPECT_EQ(reader.word(sink, kAudioDevicePropertyTransportType),
              kAudioDeviceTransportTypeVirtual);
    EXPECT_EQ(reader.status(sink, kAudioStreamPropertyVirtualFormat),
              kAudioHardwareUnknownPropertyError);

    const AudioObjectID source = reader.defaultSource();
    EXPECT_NE(source, sink);
    EXPECT_EQ(reader.text(source, kUid), "mic-a");
    EXPECT_EQ(reader.number(source, kAudioDevicePropertyNominalSampleRate), rate);
    EXPECT_EQ(reader.number(source, kAudioDevicePropertyActualSampleRate), rate);
    const AudioStreamBasicDescription mono{
        .sampleRate = rate,
        .formatID = kAudioFormatLinearPCM,
        .formatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked,
        .bytesPerPacket = 4,
        .framesPerPacket = 1,
        .bytesPerFrame = 4,
        .channelsPerFrame = 1,
        .bitsPerChannel = 32,
        .reserved = 0};
    EXPECT_EQ(reader.format(source, kAudioStreamPropertyVirtualFormat), mono);
}

TEST_P(PipeWireProperties, DescribeTapAndAggregate) {
    const PrivateAudioServer server({.sampleRateHz = GetParam()});
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const SystemTap system(hardware, "out-a");
    const double rate = GetParam();

    const auto format = reader.format(system.tap(), kAudioTapPropertyFormat);
    ASSERT_TRUE(format);
    EXPECT_EQ(format->sampleRate, rate);
    EXPECT_EQ(format->channelsPerFrame, 2U);
    EXPECT_EQ(format->bytesPerFrame, 8U);
    EXPECT_EQ(reader.format(system.device(), kAudioStreamPropertyVirtualFormat), format);
    EXPECT_EQ(reader.number(system.device(), kAudioDevicePropertyActualSampleRate), rate);
    EXPECT_EQ(reader.text(system.device(), kUid), "test-aggregate");
}

INSTANTIATE_TEST_SUITE_P(GraphRates, PipeWireProperties, testing::Values(48000, 44100));

TEST(PipeWirePropertiesTest, TellOwnProcessFromOthers) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const auto own = reader.processObject(getpid());
    ASSERT_TRUE(own);
    EXPECT_GT(*own, kAudioObjectSystemObject);
    EXPECT_EQ(reader.processObject(getpid()), own);
    EXPECT_EQ(reader.processObject(1), kAudioObjectUnknown);
}

TEST(PipeWirePropertiesTest, RefuseWhatDoesNotExist) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    EXPECT_EQ(reader.status(9999, kUid), kAudioHardwareBadObjectError);
    EXPECT_EQ(reader.status(reader.defaultSink(), fourCharCode("none")),
              kAudioHardwareUnknownPropertyError);
    std::uint32_t small = sizeof(PropertyObject*) - 1;
    PropertyObject* object = nullptr;
    EXPECT_EQ(hardware.getPropertyData(reader.defaultSink(), HardwareReader::address(kUid), {},
                                       small, &object),
              kAudioHardwareBadPropertySizeError);
    EXPECT_EQ(object, nullptr);
}

TEST(PipeWirePropertiesTest, RefuseTapsAndAggregatesThatCannotBe) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    AudioObjectID tap = kAudioObjectUnknown;
    TapDescription muting;
    muting.muteBehavior = TapDescription::MuteBehavior::muted;
    EXPECT_EQ(hardware.createProcessTap(muting, tap), kAudioHardwareIllegalOperationError);
    EXPECT_EQ(
        hardware.createProcessTap(TapDescription::stereoGlobalTapButExcludeProcesses({12345}), tap),
        kAudioHardwareIllegalOperationError);
    TapDescription fine;
    fine.uuid = "A";
    ASSERT_EQ(hardware.createProcessTap(fine, tap), noErr);
    AudioObjectID device = kAudioObjectUnknown;
    EXPECT_EQ(hardware.createAggregateDevice(SystemTap::aggregate("nowhere", "A"), device),
              kAudioHardwareBadDeviceError);
    EXPECT_EQ(hardware.createAggregateDevice(SystemTap::aggregate("mic-a", "A"), device),
              kAudioHardwareBadDeviceError);
    EXPECT_EQ(hardware.createAggregateDevice(SystemTap::aggregate("out-a", "B"), device),
              kAudioHardwareBadObjectError);
    EXPECT_EQ(device, kAudioObjectUnknown);
    EXPECT_EQ(hardware.destroyProcessTap(tap), noErr);
    EXPECT_EQ(hardware.destroyProcessTap(tap), kAudioHardwareBadObjectError);
}

TEST(PipeWirePropertiesTest, NoMicrophoneIsNotTheMonitorOfASink) {
    const PrivateAudioServer server({.hasMicrophones = false});
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    EXPECT_EQ(reader.status(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultInputDevice),
              kAudioHardwareUnspecifiedError);
    EXPECT_EQ(reader.defaultSinkName(), "out-a");
}

TEST(PipeWirePropertiesTest, ADeviceThatReturnsHasANewId) {
    const PrivateAudioServer server;
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const AudioObjectID first = reader.defaultSink();
    server.destroyNode("out-a");
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (reader.defaultSinkName() != "out-b" && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(5ms);
    EXPECT_EQ(reader.defaultSinkName(), "out-b");
    EXPECT_EQ(reader.status(first, kUid), kAudioHardwareBadObjectError);

    server.createNode(
        "node.name=out-a media.class=Audio/Sink audio.position=[FL,FR] priority.session=3000");
    while (reader.defaultSinkName() != "out-a" && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(5ms);
    EXPECT_EQ(reader.defaultSinkName(), "out-a");
    EXPECT_NE(reader.defaultSink(), first);
    EXPECT_EQ(reader.status(first, kUid), kAudioHardwareBadObjectError);
}

TEST(PipeWirePropertiesTest, TellABluetoothDeviceAndItsOwnRate) {
    const PrivateAudioServer server;
    server.createNode(
        "node.name=headset media.class=Audio/Sink audio.position=[MONO] audio.rate=16000 "
        "device.api=bluez5 device.bus=bluetooth api.bluez5.profile=headset-head-unit "
        "priority.session=3000");
    PipeWireAudioHardware hardware(ignoreLine);
    const HardwareReader reader(hardware);
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (reader.defaultSinkName() != "headset" && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(5ms);
    const AudioObjectID headset = reader.defaultSink();
    ASSERT_EQ(reader.text(headset, kUid), "headset");
    EXPECT_EQ(reader.word(headset, kAudioDevicePropertyTransportType),
              kAudioDeviceTransportTypeBluetooth);
    EXPECT_EQ(reader.number(headset, kAudioDevicePropertyNominalSampleRate), 16000.0);
    EXPECT_EQ(reader.number(headset, kAudioDevicePropertyActualSampleRate), 48000.0);
    const SystemTap system(hardware, "headset");
    EXPECT_EQ(reader.format(system.tap(), kAudioTapPropertyFormat)->channelsPerFrame, 1U);
}

}  // namespace
}  // namespace tapwell::test
