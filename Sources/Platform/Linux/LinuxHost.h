#pragma once

#include "Platform/Host.h"
#include "Platform/Linux/FfmpegAssetWriterFactory.h"
#include "Platform/Linux/LinuxAuthorization.h"
#include "Platform/Linux/LinuxClock.h"
#include "Platform/Linux/LinuxEnvironment.h"
#include "Platform/Linux/LinuxQueueFactory.h"
#include "Platform/Linux/LinuxSpeechEngines.h"
#include "Platform/Linux/PipeWireAudioHardware.h"
#include "Platform/Linux/SoxrSampleRateConverterFactory.h"
#include "Platform/Linux/XdgUserDefaults.h"
#include "Platform/Posix/AreaLog.h"
#include "Platform/Posix/PosixPrivateFile.h"
#include "Platform/Posix/PosixStandardStreams.h"

namespace tapwell {

/// A Linux machine with PipeWire.
class LinuxHost final : public Host {
public:
    AudioHardware& audioHardware() override { return hardware_; }
    SampleRateConverterFactory& converters() override { return converters_; }
    AssetWriterFactory& assetWriters() override { return writers_; }
    PrivateFileFactory& files() override { return files_; }
    QueueFactory& queues() override { return queues_; }
    Clock& clock() override { return clock_; }
    Authorization& authorization() override { return authorization_; }
    Environment& environment() override { return environment_; }
    StandardStreams& streams() override { return streams_; }
    SpeechEngines& speechEngines() override { return speechEngines_; }
    UserDefaults& userDefaults() override { return userDefaults_; }

private:
    PosixStandardStreams streams_;
    LinuxClock clock_;
    LinuxEnvironment environment_;
    LinuxQueueFactory queues_;
    PipeWireAudioHardware hardware_{makeAreaLog(streams_, "pipewire")};
    LinuxAuthorization authorization_{hardware_};
    SoxrSampleRateConverterFactory converters_;
    FfmpegAssetWriterFactory writers_{clock_};
    PosixPrivateFileFactory files_;
    XdgUserDefaults userDefaults_{environment_, makeAreaLog(streams_, "defaults")};
    LinuxSpeechEngines speechEngines_{SpeechModels::installed(environment_),
                                      LinuxSpeechEngines::machineHasAnalyzer(),
                                      makeAreaLog(streams_, "speech")};
};

}  // namespace tapwell
