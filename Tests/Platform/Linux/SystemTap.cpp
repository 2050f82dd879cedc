#include "SystemTap.h"

#include <gtest/gtest.h>

namespace tapwell::test {
namespace {

constexpr const char* kTapUuid = "0F3B1C52-6D0E-4E0A-9B57-3E6C1A2D4F88";

}  // namespace

SystemTap::SystemTap(AudioHardware& hardware, const std::string& sinkUid) : hardware_(hardware) {
    TapDescription description = TapDescription::stereoGlobalTapButExcludeProcesses({});
    description.uuid = kTapUuid;
    EXPECT_EQ(hardware_.createProcessTap(description, tap_), noErr);
    EXPECT_EQ(hardware_.createAggregateDevice(aggregate(sinkUid, kTapUuid), device_), noErr);
}

SystemTap::~SystemTap() {
    EXPECT_EQ(hardware_.destroyAggregateDevice(device_), noErr);
    EXPECT_EQ(hardware_.destroyProcessTap(tap_), noErr);
}

PropertyDictionary SystemTap::aggregate(const std::string& sinkUid, const std::string& tapUuid) {
    PropertyDictionary subDevice;
    subDevice.entries[kAudioSubDeviceUIDKey] = sinkUid;
    PropertyDictionary subTap;
    subTap.entries[kAudioSubTapUIDKey] = tapUuid;
    subTap.entries[kAudioSubTapDriftCompensationKey] = true;
    PropertyDictionary description;
    description.entries[kAudioAggregateDeviceNameKey] = std::string("Test");
    description.entries[kAudioAggregateDeviceUIDKey] = std::string("test-aggregate");
    description.entries[kAudioAggregateDeviceMainSubDeviceKey] = sinkUid;
    description.entries[kAudioAggregateDeviceIsPrivateKey] = true;
    description.entries[kAudioAggregateDeviceSubDeviceListKey] =
        std::vector<PropertyDictionary>{subDevice};
    description.entries[kAudioAggregateDeviceTapListKey] = std::vector<PropertyDictionary>{subTap};
    return description;
}

}  // namespace tapwell::test
