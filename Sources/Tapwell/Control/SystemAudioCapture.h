#pragma once

#include "Platform/AudioHardware.h"
#include "Platform/Environment.h"
#include "Platform/QueueFactory.h"
#include "Tapwell/Capture/SystemAudioTapSession.h"
#include "Tapwell/Diagnostics/Log.h"

#include <functional>
#include <memory>
#include <optional>

namespace tapwell {

/// The system half of a recording's capture: the tap on the present output device, which can be
/// replaced by one on another device while the recording runs.
///
/// Not synchronised: one call at a time. The recorder's control path hands it over to the route
/// monitor when that is registered, and takes it back when it has unregistered it.
class SystemAudioCapture {
public:
    /// Gets each cycle's audio, valid during the call, the time of its first frame, and the rate
    /// in Hz at which the device reports to run, where it does. On the queue "Tapwell.SystemTapIO".
    using OnIO = std::function<void(const PcmBuffer& buffer, const AudioTimeStamp& stamp,
                                    std::optional<double> aggregateRateHintHz)>;

    struct Services {
        AudioHardware& hardware;
        QueueFactory& queues;
        const Environment& environment;
    };

    SystemAudioCapture(const Services& services, Log log);

    /// Makes the tap. Throws RecorderCoreAudioError.
    void prepare();
    /// The prepared tap's format; absent when there is no tap, or it has none.
    std::optional<AudioFormat> tapFormat() const;
    /// The device that the tap is on; absent when there is no tap.
    std::optional<AudioObjectID> outputDevice() const;

    /// The rate at which the tap's device reports to run, in Hz; absent where it does not.
    std::optional<double> actualRateHz() const;

    /// Starts capture on the prepared tap. Throws RecorderCoreAudioError.
    void run(OnIO onIO);

    /// Replaces the tap by one on the present default output, with the same handler. `betweenTaps`
    /// is called when no audio of the old tap can come any more, and none of the new one has. False
    /// when the new tap has no format; that, or a RecorderCoreAudioError thrown, leaves no tap.
    bool rebuild(const std::function<void()>& betweenTaps);

    /// Ends capture: when this returns, the handler runs no more. Any number of times.
    void stop();

private:
    void startTap();

    const Services services_;
    const Log log_;
    const std::shared_ptr<SerialQueue> tapIOQueue_;
    std::shared_ptr<SystemAudioTapSession> systemTap_;
    std::shared_ptr<const OnIO> onIO_;
};

}  // namespace tapwell
