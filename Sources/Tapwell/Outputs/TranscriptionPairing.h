#pragma once

#include "Tapwell/MixBus/CaptureReceiver.h"

#include <cstddef>
#include <span>
#include <vector>

namespace tapwell {

/// Joins two streams of mono samples into one for live transcription. Not synchronised.
class TranscriptionPairing {
public:
    enum class Side { system, microphone };

    /// Samples of one side that wait for the other's; what is beyond is joined with silence, so
    /// that a side that has gone quiet for good silences nobody and holds no memory.
    explicit TranscriptionPairing(std::size_t longestWait) : longestWait_(longestWait) {}

    void setCallback(CaptureReceiver::SttCallback callback);
    bool isActive() const { return static_cast<bool>(callback_); }

    /// Takes samples of one side and hands out (system + microphone) × 0.5 for every pair.
    void push(Side side, std::span<const float> samples);

private:
    void handOut(std::size_t count);

    const std::size_t longestWait_;
    CaptureReceiver::SttCallback callback_;
    std::vector<float> sttSystemBuf_;
    std::vector<float> sttMicBuf_;
};

}  // namespace tapwell
