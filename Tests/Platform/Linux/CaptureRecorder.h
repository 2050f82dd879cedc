#pragma once

#include "Platform/AudioHardware.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace tapwell::test {

/// Runs an I/O procedure for as long as it lives, and keeps all that it delivers.
class CaptureRecorder {
public:
    struct Cycle {
        AudioTimeStamp now;
        AudioTimeStamp inputTime;
        std::size_t firstFrame = 0;  ///< of the recording
        std::size_t frames = 0;
        std::uint64_t arrivalNanoseconds = 0;  ///< when the queue got it
    };

    /// Fails the test when the procedure cannot be made or started.
    CaptureRecorder(AudioHardware& hardware, AudioObjectID device);
    ~CaptureRecorder();
    CaptureRecorder(const CaptureRecorder&) = delete;
    CaptureRecorder& operator=(const CaptureRecorder&) = delete;

    /// False when they had not come within `limit`.
    bool waitForFrames(std::size_t count,
                       std::chrono::milliseconds limit = std::chrono::seconds(10)) const;
    std::size_t frameCount() const;
    std::uint32_t channelCount() const;
    std::vector<float> channel(std::uint32_t index) const;
    std::vector<Cycle> cycles() const;

    /// The host time of a frame of the recording, in ns.
    double hostTimeOfFrame(double frame, double sampleRate) const;

    AudioIOProcID procedure() const { return procedure_; }
    const std::shared_ptr<SerialQueue>& queue() const { return queue_; }

private:
    struct Recording {
        mutable std::mutex mutex;
        std::uint32_t channels = 0;
        std::vector<float> samples;
        std::vector<Cycle> cycles;

        void take(const AudioTimeStamp& now, AudioBufferList input,
                  const AudioTimeStamp& inputTime);
    };

    AudioHardware& hardware_;
    AudioObjectID device_;
    AudioIOProcID procedure_ = 0;
    std::shared_ptr<Recording> recording_ = std::make_shared<Recording>();
    std::shared_ptr<SerialQueue> queue_;
};

}  // namespace tapwell::test
