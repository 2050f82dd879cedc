#pragma once

#include "Platform/Host.h"
#include "Platform/Simulated/SimulatedAssetWriter.h"
#include "Platform/Simulated/SimulatedAudioHardware.h"
#include "Platform/Simulated/SimulatedAuthorization.h"
#include "Platform/Simulated/SimulatedClock.h"
#include "Platform/Simulated/SimulatedEnvironment.h"
#include "Platform/Simulated/SimulatedPrivateFile.h"
#include "Platform/Simulated/SimulatedQueueFactory.h"
#include "Platform/Simulated/SimulatedStandardStreams.h"
#include "Platform/Simulated/VirtualTime.h"

namespace tapwell {

/// A whole machine under a test's control. Its converters are real ones, given by the test.
class SimulatedHost final : public Host {
public:
    explicit SimulatedHost(SampleRateConverterFactory& converters) : converters_(converters) {}

    VirtualTime time;
    SimulatedAudioHardware hardware{time};
    SimulatedAssetWriterFactory writers{time};
    SimulatedPrivateFileFactory simulatedFiles;
    SimulatedQueueFactory simulatedQueues{time};
    SimulatedClock simulatedClock{time};
    SimulatedAuthorization simulatedAuthorization;
    SimulatedEnvironment simulatedEnvironment;
    SimulatedStandardStreams simulatedStreams;

    AudioHardware& audioHardware() override { return hardware; }
    SampleRateConverterFactory& converters() override { return converters_; }
    AssetWriterFactory& assetWriters() override { return writers; }
    PrivateFileFactory& files() override { return simulatedFiles; }
    QueueFactory& queues() override { return simulatedQueues; }
    Clock& clock() override { return simulatedClock; }
    Authorization& authorization() override { return simulatedAuthorization; }
    Environment& environment() override { return simulatedEnvironment; }
    StandardStreams& streams() override { return simulatedStreams; }

private:
    SampleRateConverterFactory& converters_;
};

}  // namespace tapwell
