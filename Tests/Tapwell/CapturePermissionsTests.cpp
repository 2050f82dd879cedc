#include "Platform/Simulated/SimulatedAudioHardware.h"
#include "Platform/Simulated/SimulatedAuthorization.h"
#include "Platform/Simulated/SimulatedEnvironment.h"
#include "Platform/Simulated/SimulatedQueueFactory.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Tapwell/Capture/CapturePermissions.h"

#include <gtest/gtest.h>

namespace tapwell {
namespace {

struct Permissions : testing::Test {
    VirtualTime time;
    SimulatedAudioHardware hardware{time};
    SimulatedAuthorization authorization;
    SimulatedEnvironment environment;
    SimulatedQueueFactory queues{time};
    SimulatedStandardStreams streams;
    CapturePermissions permissions{{hardware, authorization, environment, queues, streams}};

    std::string snapshot() {
        const std::size_t before = streams.output().size();
        permissions.emitPermissionsSnapshot();
        return streams.output().substr(before);
    }
    static std::string event(const std::string& microphone, const std::string& systemAudio) {
        return "{\"event\":\"permissions\",\"microphone\":\"" + microphone +
               "\",\"systemAudio\":\"" + systemAudio + "\"}\n";
    }
    static std::string refusal(const std::string& message) {
        return "{\"event\":\"error\",\"code\":\"RECORDER_MIC_PERMISSION_DENIED\",\"message\":\"" +
               message + "\"}\n";
    }
    bool logged(const std::string& text) const {
        return streams.countErrorLines("[Tapwell][mic-permission] " + text) == 1;
    }
    void addSpeaker() {
        SimulatedDevice speaker;
        speaker.uid = "speaker";
        hardware.setDefaultOutput(hardware.addDevice(speaker));
    }
};

TEST_F(Permissions, TheSnapshotMapsEveryStatus) {
    authorization.preflight = 0;
    const std::pair<long, const char*> microphone[] = {
        {0, "not-determined"}, {1, "denied"}, {2, "denied"}, {3, "granted"}, {9, "denied"}};
    for (const auto& [status, text] : microphone) {
        authorization.microphone = status;
        EXPECT_EQ(snapshot(), event(text, "granted")) << status;
    }
    const std::pair<std::optional<int>, const char*> systemAudio[] = {
        {0, "granted"},        {1, "denied"},          {2, "not-determined"},
        {3, "not-determined"}, {-1, "not-determined"}, {std::nullopt, "not-determined"}};
    authorization.microphone = 3;
    for (const auto& [preflight, text] : systemAudio) {
        authorization.preflight = preflight;
        EXPECT_EQ(snapshot(), event("granted", text));
    }
    EXPECT_EQ(authorization.requests, 0) << "a snapshot never prompts";
    EXPECT_TRUE(hardware.journal().empty());
}

TEST_F(Permissions, ARequestWhenGrantedMakesNoTap) {
    addSpeaker();
    authorization.preflight = 0;
    permissions.requestSystemAudioPermission();
    EXPECT_EQ(streams.output(), event("granted", "granted"));
    EXPECT_TRUE(hardware.journal().empty());
}

TEST_F(Permissions, ARequestRecordsForAMomentAndReportsWhatTheSystemSaysThen) {
    addSpeaker();
    authorization.preflight = 2;
    permissions.requestSystemAudioPermission();
    EXPECT_EQ(hardware.countCalls("startDevice"), 1);
    EXPECT_EQ(hardware.liveTaps(), 0U);
    EXPECT_EQ(hardware.liveAggregates(), 0U);
    EXPECT_EQ(streams.output(), event("granted", "not-determined"));
}

TEST_F(Permissions, ARequestWhoseTapFailsStillAnswers) {
    authorization.preflight = 1;
    permissions.requestSystemAudioPermission();
    EXPECT_EQ(streams.output(), event("granted", "denied")) << "without an output device";
    addSpeaker();
    hardware.failNext("createProcessTap", kAudioDevicePermissionsError);
    permissions.requestSystemAudioPermission();
    EXPECT_EQ(streams.outputLines().size(), 2U);
}

TEST_F(Permissions, AnAuthorizedMicrophoneMayRecord) {
    EXPECT_TRUE(permissions.ensureMicrophoneAccessForRecording());
    EXPECT_TRUE(logged("AVCaptureDevice.authorizationStatus(for: .audio) = authorized (raw=3)"));
    EXPECT_TRUE(logged("Microphone authorized for tapwell."));
    EXPECT_EQ(streams.output(), "");
}

TEST_F(Permissions, ADeniedOrRestrictedMicrophoneIsRefused) {
    for (long status : {1, 2}) {
        authorization.microphone = status;
        EXPECT_FALSE(permissions.ensureMicrophoneAccessForRecording());
    }
    const std::string expected = refusal(
        "Microphone access denied for tapwell. Open System Settings → Privacy & Security → "
        "Microphone and enable tapwell or Tolvane Desktop. Granting access to Terminal alone does "
        "not apply to this helper process.");
    EXPECT_EQ(streams.output(), expected + expected);
    EXPECT_EQ(authorization.requests, 0);
    EXPECT_TRUE(logged("AVCaptureDevice.authorizationStatus(for: .audio) = restricted (raw=1)"));
    EXPECT_TRUE(logged("AVCaptureDevice.authorizationStatus(for: .audio) = denied (raw=2)"));
    EXPECT_EQ(streams.countErrorLines(
                  "Refusing start: denied/restricted. Grant Microphone to **tapwell** (this "
                  "binary), not only Terminal — System Settings → Privacy & Security → "
                  "Microphone."),
              2);
}

TEST_F(Permissions, AnUndecidedMicrophoneAsksTheUser) {
    authorization.microphone = 0;
    EXPECT_TRUE(permissions.ensureMicrophoneAccessForRecording());
    EXPECT_EQ(authorization.requests, 1);
    EXPECT_TRUE(logged(
        "Status notDetermined — calling requestAccess(for: .audio); system prompt may appear."));
    EXPECT_TRUE(logged("requestAccess(for: .audio) finished; granted=true"));
    EXPECT_EQ(streams.output(), "");

    authorization.answerToRequest = false;
    EXPECT_FALSE(permissions.ensureMicrophoneAccessForRecording());
    EXPECT_TRUE(logged("requestAccess(for: .audio) finished; granted=false"));
    EXPECT_EQ(streams.output(),
              refusal("Microphone access was not granted. Enable Microphone for tapwell in System "
                      "Settings → Privacy & Security → Microphone."));
}

TEST_F(Permissions, AnUnknownStatusIsRefused) {
    authorization.microphone = 17;
    EXPECT_FALSE(permissions.ensureMicrophoneAccessForRecording());
    EXPECT_TRUE(logged("AVCaptureDevice.authorizationStatus(for: .audio) = unknown(17) (raw=17)"));
    EXPECT_TRUE(logged("Unknown AVAuthorizationStatus; refusing to start."));
    EXPECT_EQ(streams.output(),
              refusal("Unexpected microphone authorization state; cannot start recording."));
}

}  // namespace
}  // namespace tapwell
