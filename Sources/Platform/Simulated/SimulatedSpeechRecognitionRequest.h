#pragma once

#include "Platform/SpeechRecognitionRequest.h"

#include <cstdint>
#include <span>
#include <vector>

namespace tapwell {

/// Keeps what it is given.
class SimulatedSpeechRecognitionRequest final : public SpeechRecognitionRequest {
public:
    std::vector<float> samples;
    double sampleRate = 0;
    bool audioEnded = false;

    void append(const PcmBuffer& buffer) override {
        if (audioEnded) return;
        std::uint32_t stride = 1;
        const float* const first = buffer.channel<float>(0, stride);
        samples.insert(samples.end(), first, first + buffer.frameLength());
        sampleRate = buffer.format().sampleRate();
    }
    void endAudio() override { audioEnded = true; }
};

}  // namespace tapwell
