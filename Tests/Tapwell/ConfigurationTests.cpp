#include "Platform/Simulated/SimulatedAudioHardware.h"
#include "Platform/Simulated/SimulatedEnvironment.h"
#include "Tapwell/Configuration/EnvironmentSwitch.h"
#include "Tapwell/Configuration/RecorderDualTrackMode.h"
#include "Tapwell/Configuration/RecorderRtmpsMode.h"
#include "Tapwell/Configuration/RecorderSTTMode.h"
#include "Tapwell/Configuration/RecorderUploadLayout.h"
#include "Tapwell/Configuration/RecordingSessionMixSampleRate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tapwell {
namespace {

TEST(EnvironmentSwitch, OneRuleDecidesEveryValue) {
    SimulatedEnvironment environment;
    EXPECT_FALSE(isSwitchedOn(environment, "X")) << "unset";
    for (const char* on : {"1", "true", "yes", " YES\n", "\tTrue", "yEs", "\u00A0true\u2003"}) {
        environment.variables["X"] = on;
        EXPECT_TRUE(isSwitchedOn(environment, "X")) << on;
    }
    for (const char* off : {"", "on", "2", "y", "0", "false", "no", "truee", "1 1", "ye s"}) {
        environment.variables["X"] = off;
        EXPECT_FALSE(isSwitchedOn(environment, "X")) << off;
    }
}

TEST(EnvironmentSwitch, EverySwitchReadsItsOwnVariableAfresh) {
    SimulatedEnvironment environment;
    const auto states = [&] {
        return std::string() + (RecorderSTTMode::isEnabled(environment) ? "S" : "-") +
               (RecorderDualTrackMode::isEnabled(environment) ? "D" : "-") +
               (RecorderDualTrackMode::keepCaptureWavAfterMerge(environment) ? "K" : "-") +
               (RecorderRtmpsMode::isEnabled(environment) ? "R" : "-") +
               (currentUploadLayout(environment) == RecorderUploadLayout::stereoLR ? "L" : "-");
    };
    EXPECT_EQ(states(), "-----");
    const std::pair<const char*, const char*> expectations[] = {
        {"TL_RECORDER_STT_ENABLED", "S----"},
        {"TL_MACOS_DUAL_TRACK_RECORDING", "-D---"},
        {"TL_MACOS_DUAL_TRACK_KEEP_CAPTURE_WAV", "--K--"},
        {"TL_RECORDER_RTMPS_MODE", "---R-"},
        {"TL_MACOS_UPLOAD_STEREO_LR", "----L"},
    };
    for (const auto& [variable, expected] : expectations) {
        environment.variables = {{variable, "yes"}};
        EXPECT_EQ(states(), expected);
    }
}

TEST(RecordingSessionMixSampleRate, WhatIsNoRateGives48000) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (double rate : {0.0, -44100.0, infinity, -infinity, std::nan("")})
        EXPECT_EQ(RecordingSessionMixSampleRate::pickNearestStandard(rate), 48000) << rate;
}

TEST(RecordingSessionMixSampleRate, TheNearestStandardRateWinsAndATieGoesDown) {
    const std::pair<double, double> expectations[] = {
        {44100, 44100}, {46050, 44100}, {46051, 48000}, {9512.5, 8000}, {9513, 11025},
        {1, 8000},      {96000, 48000}, {23999, 24000}, {28000, 24000}, {28001, 32000},
        {11025, 11025}, {22049, 22050}, {16000, 16000},
    };
    for (const auto& [rate, expected] : expectations)
        EXPECT_EQ(RecordingSessionMixSampleRate::pickNearestStandard(rate), expected) << rate;
}

struct RouteCaptureRate : testing::Test {
    VirtualTime time;
    SimulatedAudioHardware hardware{time};

    double resolve(double deviceRate, double tapNominal, std::optional<double> aggregate = {},
                   std::uint32_t transport = kAudioDeviceTransportTypeBuiltIn) {
        SimulatedDevice device;
        device.nominalRate = deviceRate;
        device.nominalRateUnreadable = deviceRate < 0;
        device.transportType = transport;
        return RecordingSessionMixSampleRate::resolveRouteCaptureRateHz(
            hardware, hardware.addDevice(device), tapNominal, aggregate);
    }
};

TEST_F(RouteCaptureRate, ABluetoothRouteKeepsTheRateOfItsProfile) {
    for (const auto transport :
         {kAudioDeviceTransportTypeBluetooth, kAudioDeviceTransportTypeBluetoothLE}) {
        EXPECT_EQ(resolve(8000, 48000, {}, transport), 8000);
        EXPECT_EQ(resolve(12000, 48000, {}, transport), 8000);
        EXPECT_EQ(resolve(16000, 48000, {}, transport), 16000);
        EXPECT_EQ(resolve(20000, 48000, {}, transport), 16000);
        EXPECT_EQ(resolve(24000, 48000, {}, transport), 24000);
        EXPECT_EQ(resolve(28000, 48000, {}, transport), 24000);
        EXPECT_EQ(resolve(44100, 48000, {}, transport), 44100);
        EXPECT_EQ(resolve(48000, 48000, {}, transport), 48000);
    }
}

TEST_F(RouteCaptureRate, OtherRoutesGet48000WhenTheyAreWideBand) {
    EXPECT_EQ(resolve(44100, 44100), 48000);
    EXPECT_EQ(resolve(44100, 48000), 48000);
    EXPECT_EQ(resolve(96000, 96000), 48000);
    EXPECT_EQ(resolve(32000, 48000), 32000);
    EXPECT_EQ(resolve(22050, 48000), 22050);
    EXPECT_EQ(resolve(16000, 48000), 16000);
}

TEST_F(RouteCaptureRate, AnAggregateRateThatDiffersIsTheCandidate) {
    EXPECT_EQ(resolve(48000, 48000, 32000), 32000);
    EXPECT_EQ(resolve(48000, 48000, 48000.4), 48000) << "the same rate, measured";
    EXPECT_EQ(resolve(48000, 48000, 16000), 48000) << "below 22000 the device's larger rate counts";
    EXPECT_EQ(resolve(8000, 48000, 16000), 16000);
    EXPECT_EQ(resolve(48000, 48000, std::nan("")), 48000);
}

TEST_F(RouteCaptureRate, AnUnknownDeviceRateLeavesTheTapRate) {
    EXPECT_EQ(resolve(-1, 32000), 32000);
    EXPECT_EQ(resolve(-1, 48000, 16000), 48000) << "the tap rate stands in for the device's";
}

TEST_F(RouteCaptureRate, WithoutADeviceAnyUsableAggregateRateWins) {
    const auto resolveWithout = [&](std::optional<AudioObjectID> device, double tapNominal,
                                    std::optional<double> aggregate) {
        return RecordingSessionMixSampleRate::resolveRouteCaptureRateHz(hardware, device,
                                                                        tapNominal, aggregate);
    };
    for (const std::optional<AudioObjectID> none : {std::optional<AudioObjectID>(), {0U}}) {
        EXPECT_EQ(resolveWithout(none, 48000, 44100), 44100);
        EXPECT_EQ(resolveWithout(none, 44100, 44100), 44100);
        EXPECT_EQ(resolveWithout(none, 0, {}), 48000);
        EXPECT_EQ(resolveWithout(none, 16000, {}), 16000);
        EXPECT_EQ(resolveWithout(none, 16000, 0), 16000);
    }
}

}  // namespace
}  // namespace tapwell
