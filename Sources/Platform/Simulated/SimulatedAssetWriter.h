#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/Simulated/VirtualTime.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tapwell {

/// How simulated writers behave, and what they were given. One record for all writers of a host;
/// a test sets the first part before it records and reads the second afterwards.
struct SimulatedWriterScript {
    // Behaviour.
    bool makeWriterFails = false;
    bool refusesInput = false;
    bool startWritingFails = false;
    bool startWritingFailsWithoutError = false;
    bool ready = true;
    /// Buffers that an input takes before it is busy, and for how long it then is.
    std::int64_t buffersPerBurst = INT64_MAX;
    VirtualTime::Duration busyTime{0};
    /// Append calls (counted from 1) that return false.
    std::vector<std::int64_t> failingAppends;
    /// From this append call on every one fails and the writer's status is `failed`.
    std::int64_t failsFromAppend = INT64_MAX;
    VirtualTime::Duration finishTime{0};
    bool finishFails = false;
    /// Whether what is appended is kept; otherwise it is only counted.
    bool keepsSamples = true;

    // Record.
    std::vector<std::string> paths;
    std::vector<AudioOutputSettings> settings;
    std::vector<bool> expectsRealTime;
    std::vector<MediaTime> sessionStarts;
    std::vector<SampleBuffer> appended;
    std::vector<float> samples;  ///< of all appended buffers, as they came
    std::int64_t appendCalls = 0;
    std::int64_t frames = 0;  ///< of all appended buffers
    std::int64_t appendedWhenMarkedFinished = -1;
    int finishCalls = 0;
};

/// Keeps what it is given in memory; creates and removes the file like a real writer.
class SimulatedAssetWriterFactory final : public AssetWriterFactory {
public:
    explicit SimulatedAssetWriterFactory(VirtualTime& time) : time_(time) {}

    SimulatedWriterScript script;

    std::unique_ptr<AssetWriter> makeWriter(const std::string& path) override;

private:
    VirtualTime& time_;
};

}  // namespace tapwell
