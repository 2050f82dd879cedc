#pragma once

#include "Platform/Host.h"
#include "Platform/Posix/AreaLog.h"
#include "Platform/Posix/PosixPrivateFile.h"
#include "Platform/Posix/PosixStandardStreams.h"
#include "Platform/macOS/ConverterFactory.h"
#include "Platform/macOS/CoreAudioHardware.h"
#include "Platform/macOS/DispatchQueueFactory.h"
#include "Platform/macOS/MacAuthorization.h"
#include "Platform/macOS/MacEnvironment.h"
#include "Platform/macOS/MacUserDefaults.h"
#include "Platform/macOS/MachClock.h"
#include "Platform/macOS/SystemAssetWriter.h"
#include "Platform/macOS/SystemSpeechEngines.h"

namespace tapwell {

/// A Mac with macOS 15 or later.
class MacHost final : public Host {
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
    MachClock clock_;
    MacEnvironment environment_;
    DispatchQueueFactory queues_;
    CoreAudioHardware hardware_;
    MacAuthorization authorization_;
    ConverterFactory converters_;
    SystemAssetWriterFactory writers_;
    PosixPrivateFileFactory files_;
    MacUserDefaults userDefaults_;
    SystemSpeechEngines speechEngines_{makeAreaLog(streams_, "speech")};
};

}  // namespace tapwell
