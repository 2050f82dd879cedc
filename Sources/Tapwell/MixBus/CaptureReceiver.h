#pragma once

#include "Platform/AudioTime.h"
#include "Platform/AudioTimeStamp.h"
#include "Platform/MediaTime.h"
#include "Platform/PcmBuffer.h"

#include <functional>
#include <optional>
#include <span>

namespace tapwell {

/// Where the audio of both capture streams goes. Buffers are valid only during the call that hands
/// them over.
class CaptureReceiver {
public:
    /// Gets mono samples at the session's mix rate, and their time where it is known; on a queue of
    /// the receiver.
    using SttCallback = std::function<void(std::span<const float> samples, MediaTime time)>;

    virtual ~CaptureReceiver() = default;

    /// Until this is set, buffers are dropped. Any thread.
    virtual void setCaptureStarted(bool started) = 0;
    /// The microphone is known to deliver: it need not be waited for in vain. Before capture
    /// starts.
    virtual void expectMicrophone() {}

    /// Takes effect with the next samples; an empty callback ends the feed. Any thread.
    virtual void setSttCallback(SttCallback callback) = 0;

    /// A buffer of the system tap, on the tap's queue. `aggregateRateHintHz`: the rate that the
    /// device reports, when known.
    virtual void handleSystem(const PcmBuffer& buffer, const AudioTimeStamp& stamp,
                              std::optional<double> aggregateRateHintHz) = 0;
    /// A buffer of the microphone, on the microphone's queue.
    virtual void handleMicrophone(const PcmBuffer& buffer, const AudioTime& when) = 0;

    /// The device of that stream changed: its conversion starts afresh. Any thread.
    virtual void resetSystemPathForRouteChange() = 0;
    virtual void resetMicrophonePathForRouteChange() = 0;

    /// Neither stream has delivered for a while, up to this moment, in seconds of host time. Any
    /// thread.
    virtual void bothStreamsQuietUntil(double /*hostSeconds*/) {}
};

}  // namespace tapwell
