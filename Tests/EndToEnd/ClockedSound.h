#pragma once

#include "EndToEnd/AudioSession.h"

#include <memory>

namespace tapwell::test {

/// A sound whose every sample is given by the server's clock, played into the default speaker and
/// offered by a microphone of its own. The microphone can stay silent in the strict sense: it is
/// there, with its format, but delivers nothing until it is told to.
class ClockedSound {
public:
    static constexpr const char* microphoneName = "clocked-microphone";

    /// Begins with the speaker; the microphone, which becomes the default one, delivers nothing
    /// yet. Both sides must be equally long; they are repeated for ever. Throws std::runtime_error.
    ClockedSound(const AudioSession& session, TwoSidedSound sound);
    ~ClockedSound();
    ClockedSound(const ClockedSound&) = delete;
    ClockedSound& operator=(const ClockedSound&) = delete;

    void setMicrophoneDelivers(bool delivers);

private:
    struct Client;
    std::unique_ptr<Client> client_;
};

}  // namespace tapwell::test
