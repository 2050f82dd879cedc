#include "Platform/Simulated/SimulatedAudioHardware.h"
#include "Tapwell/Capture/CoreAudioRecordingUtils.h"
#include "Tapwell/Capture/RecorderCoreAudioError.h"

#include <gtest/gtest.h>

namespace tapwell {
namespace {

struct DeviceQueries : testing::Test {
    VirtualTime time;
    SimulatedAudioHardware hardware{time};

    static std::string messageOf(const std::function<void()>& call) {
        try {
            call();
        } catch (const RecorderCoreAudioError& error) {
            EXPECT_FALSE(error.isSystemAudioPermissionDenied());
            return error.what();
        }
        return "no error";
    }
};

TEST_F(DeviceQueries, DefaultDevicesAreAbsentWhenTheReadFails) {
    EXPECT_FALSE(recorderDefaultSystemOutputDeviceObjectID(hardware));
    EXPECT_FALSE(recorderDefaultInputDeviceObjectID(hardware));
    hardware.setDefaultOutput(0U);
    EXPECT_EQ(recorderDefaultSystemOutputDeviceObjectID(hardware), 0U);
}

TEST_F(DeviceQueries, RatesAndFormatsAreReadOrAbsent) {
    SimulatedDevice device;
    device.nominalRate = 44100;
    device.actualRate = 44099.7;
    const AudioObjectID id = hardware.addDevice(device);
    EXPECT_EQ(recorderNominalSampleRate(hardware, id), 44100);
    EXPECT_EQ(recorderActualSampleRate(hardware, id), 44099.7);
    EXPECT_EQ(recorderVirtualInputStreamFormat(hardware, id), device.format.streamDescription());
    hardware.removeDevice(id);
    EXPECT_FALSE(recorderNominalSampleRate(hardware, id));
    EXPECT_FALSE(recorderActualSampleRate(hardware, id));
    EXPECT_FALSE(recorderVirtualInputStreamFormat(hardware, id));
}

TEST_F(DeviceQueries, AProcessWithoutAnAudioObjectIsAnError) {
    EXPECT_EQ(recorderTranslate(hardware, 4242), 77U);
    hardware.setProcessObject(0);
    EXPECT_EQ(messageOf([&] { recorderTranslate(hardware, 4242); }), "pid translate 0 pid=4242");
    hardware.failNext("getPropertyData", -50);
    EXPECT_EQ(messageOf([&] { recorderTranslate(hardware, -1); }), "pid translate -50 pid=-1");
}

TEST_F(DeviceQueries, StatusesAreSignedDecimalNumbers) {
    EXPECT_EQ(messageOf([&] { recorderTapStreamBasicDescription(hardware, 5); }),
              "tap asbd " + std::to_string(kAudioHardwareBadObjectError));
}

TEST_F(DeviceQueries, EveryStepOfATextReadHasItsMessage) {
    SimulatedDevice device;
    device.uid = "speaker";
    const AudioObjectID id = hardware.addDevice(device);
    const auto read = [&] {
        return recorderReadCFStringDeviceProperty(hardware, id, kAudioDevicePropertyDeviceUID);
    };
    EXPECT_EQ(read(), "speaker");
    hardware.failNext("getPropertyDataSize", -1);
    EXPECT_EQ(messageOf(read), "cf str size -1");
    hardware.device(id).uidIsNoString = true;
    EXPECT_EQ(messageOf(read), "cf str not NSString: <number 42>");
}

}  // namespace
}  // namespace tapwell
