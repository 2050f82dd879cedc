#pragma once

#include "Platform/Simulated/SimulatedHost.h"
#include "Support/HostConverters.h"
#include "Support/TemporaryDirectory.h"
#include "Tapwell/Control/AudioRecorder.h"

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace tapwell::test {

/// A simulated machine with a speaker and a microphone, ready to record.
struct SimulatedMeeting {
    TemporaryDirectory folder;
    HostConverters converters;
    SimulatedHost host{converters};
    AudioObjectID speaker;
    AudioObjectID microphone;
    std::string path = folder.file("upload_audio.m4a");

    SimulatedMeeting()
        : speaker(host.hardware.addDevice(makeSpeaker())),
          microphone(host.hardware.addDevice(makeMicrophone())) {
        host.hardware.setDefaultOutput(speaker);
        host.hardware.setDefaultInput(microphone);
    }

    static SimulatedDevice makeSpeaker() {
        SimulatedDevice device;
        device.uid = "speaker";
        device.signal = [](double seconds) { return tone(seconds, 997, 0.5); };
        return device;
    }
    static SimulatedDevice makeMicrophone() {
        SimulatedDevice device;
        device.uid = "microphone";
        device.isInput = true;
        device.format = *AudioFormat::make(CommonFormat::pcmFloat32, 48000, 1, false);
        device.signal = [](double seconds) { return tone(seconds, 440, 0.05); };
        return device;
    }
    static float tone(double seconds, double hz, double amplitude) {
        return static_cast<float>(amplitude * std::sin(2 * M_PI * hz * seconds));
    }

    /// For a recorder on this machine.
    AudioRecorder::Services recorderServices(CreateSpeechProvider createSpeechProvider = nullptr) {
        return {host.hardware,
                converters,
                host.writers,
                host.simulatedFiles,
                host.simulatedQueues,
                host.simulatedClock,
                host.simulatedAuthorization,
                host.simulatedEnvironment,
                host.simulatedStreams,
                std::move(createSpeechProvider)};
    }

    SimulatedDevice& speakerDevice() { return host.hardware.device(speaker); }
    SimulatedDevice& microphoneDevice() { return host.hardware.device(microphone); }
    /// What was appended to the encoder.
    const std::vector<float>& recorded() const { return host.writers.script.samples; }
    int logged(const std::string& text) const {
        return host.simulatedStreams.countErrorLines(text);
    }
    std::vector<std::string> events() const { return host.simulatedStreams.outputLines(); }
    /// The frames at which a channel of interleaved stereo jumps up: the clicks in it.
    static std::vector<double> edges(const std::vector<float>& interleaved, std::size_t channel) {
        std::vector<double> found;
        for (std::size_t i = channel + 2; i < interleaved.size(); i += 2)
            if (interleaved[i] > 0.1F && interleaved[i - 2] <= 0.1F)
                found.push_back(static_cast<double>(i / 2));
        return found;
    }
    static std::string escaped(const std::string& text) {
        std::string result;
        for (char c : text)
            result += c == '/' ? std::string("\\/") : std::string(1, c);
        return result;
    }
};

}  // namespace tapwell::test
