#include "CaptureRecorder.h"

#include "Platform/Linux/AsioSerialQueue.h"

#include <gtest/gtest.h>

#include <thread>

namespace tapwell::test {

using namespace std::chrono_literals;

void CaptureRecorder::Recording::take(const AudioTimeStamp& now, AudioBufferList input,
                                      const AudioTimeStamp& inputTime) {
    const auto arrival = std::chrono::steady_clock::now().time_since_epoch();
    const std::lock_guard lock(mutex);
    ASSERT_EQ(input.size(), 1U);
    const AudioBuffer& buffer = input.front();
    const auto* first = static_cast<const float*>(buffer.data);
    const std::size_t count = buffer.dataByteSize / sizeof(float);
    channels = buffer.numberChannels;
    ASSERT_EQ(count % channels, 0U);
    cycles.push_back({now, inputTime, samples.size() / channels, count / channels,
                      static_cast<std::uint64_t>(std::chrono::nanoseconds(arrival).count())});
    samples.insert(samples.end(), first, first + count);
}

CaptureRecorder::CaptureRecorder(AudioHardware& hardware, AudioObjectID device)
    : hardware_(hardware),
      device_(device),
      queue_(std::make_shared<AsioSerialQueue>("Test.Capture", QualityOfService::userInteractive)) {
    EXPECT_EQ(hardware_.createIOProcID(
                  procedure_, device_, queue_,
                  [recording = recording_](const AudioTimeStamp& now, AudioBufferList input,
                                           const AudioTimeStamp& inputTime) {
                      recording->take(now, input, inputTime);
                  }),
              noErr);
    EXPECT_EQ(hardware_.startDevice(device_, procedure_), noErr);
}

CaptureRecorder::~CaptureRecorder() {
    EXPECT_EQ(hardware_.stopDevice(device_, procedure_), noErr);
    EXPECT_EQ(hardware_.destroyIOProcID(device_, procedure_), noErr);
}

bool CaptureRecorder::waitForFrames(std::size_t count, std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (frameCount() < count) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

std::size_t CaptureRecorder::frameCount() const {
    const std::lock_guard lock(recording_->mutex);
    return recording_->channels == 0 ? 0 : recording_->samples.size() / recording_->channels;
}

std::uint32_t CaptureRecorder::channelCount() const {
    const std::lock_guard lock(recording_->mutex);
    return recording_->channels;
}

std::vector<float> CaptureRecorder::channel(std::uint32_t index) const {
    const std::lock_guard lock(recording_->mutex);
    std::vector<float> result;
    for (std::size_t i = index; i < recording_->samples.size(); i += recording_->channels)
        result.push_back(recording_->samples[i]);
    return result;
}

std::vector<CaptureRecorder::Cycle> CaptureRecorder::cycles() const {
    const std::lock_guard lock(recording_->mutex);
    return recording_->cycles;
}

double CaptureRecorder::hostTimeOfFrame(double frame, double sampleRate) const {
    double hostTime = 0;
    for (const Cycle& cycle : cycles()) {
        if (static_cast<double>(cycle.firstFrame) > frame) break;
        hostTime = static_cast<double>(cycle.inputTime.hostTime) +
                   (frame - static_cast<double>(cycle.firstFrame)) / sampleRate * 1e9;
    }
    return hostTime;
}

}  // namespace tapwell::test
