#pragma once

#include "Platform/AudioHardware.h"
#include "Platform/Clock.h"
#include "Platform/SerialQueue.h"
#include "Tapwell/Diagnostics/Log.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace tapwell {

/// Watches the default output device while a recording runs, and has the system tap rebuilt when
/// it becomes another one: after a debounce, and with the microphone's own restart held off, since
/// output and input often change together.
///
/// Notices in a grace (after registration, and after a rebuild, which causes some itself) are
/// ignored; at its end the default device is looked at, so that a change in it is late, not lost.
///
/// Registered and unregistered by the recorder's control path. Everything else runs on the queue
/// that it is given, one piece at a time, and holds the monitor weakly.
class OutputRouteMonitor : public std::enable_shared_from_this<OutputRouteMonitor> {
public:
    static constexpr std::chrono::milliseconds startUpGrace{2500};
    static constexpr std::chrono::milliseconds rebuildDebounce{400};
    static constexpr std::chrono::milliseconds postRebuildGrace{1250};
    /// After a failed rebuild nothing is recorded of what is played, so it is tried again.
    static constexpr std::chrono::milliseconds rebuildRetryDelay{1250};
    static constexpr int maxRebuildAttempts = 5;

    struct Services {
        AudioHardware& hardware;
        std::shared_ptr<SerialQueue> queue;  ///< "Tapwell.DefaultSystemOutputRoute"
        const Clock& clock;
    };
    /// What the monitor has done; all on its queue, and only while it is registered.
    struct Hooks {
        /// Keeps the microphone from restarting by itself for a while.
        std::function<void()> holdOffMicrophone;
        /// Replaces the system tap by one on the present default output. Throws when it fails;
        /// false when it gave up for a reason that it has logged.
        std::function<bool()> rebuildSystemTap;
        /// Restarts the microphone if its device changed meanwhile.
        std::function<void()> checkMicrophone;
        /// The output device that the system tap is on; absent when there is no tap.
        std::function<std::optional<AudioObjectID>()> tappedDevice;
    };

    static std::shared_ptr<OutputRouteMonitor> create(const Services& services, Hooks hooks,
                                                      Log log);
    ~OutputRouteMonitor();

    /// Begins to watch, with the start-up grace. Recording goes on without when that fails.
    void registerDefaultSystemOutputRouteMonitoringIfNeeded();

    /// Ends it: when this returns no hook runs any more. Waits for a rebuild under way.
    void unregisterDefaultSystemOutputRouteMonitoring();

private:
    OutputRouteMonitor(const Services& services, Hooks hooks, Log log);

    void addHardwareDefaultSystemOutputListenerIfNeeded();
    void removeHardwareDefaultSystemOutputListener();
    void defaultOutputChanged();
    void beginGrace(std::chrono::nanoseconds length);
    void graceEnded();
    void enqueueDebouncedSystemTapRebuild();
    void performSystemTapRebuildForDefaultOutputChange();
    void rebuildFailed();
    std::shared_ptr<WorkItem> after(std::chrono::nanoseconds delay,
                                    void (OutputRouteMonitor::*step)());

    AudioHardware& hardware_;
    const Clock& clock_;
    const Hooks hooks_;
    const Log log_;
    const std::shared_ptr<SerialQueue> systemOutputRouteQueue_;

    // Of the queue.
    AudioPropertyListener defaultOutputPropertyListener_;
    std::optional<AudioObjectID> lastObservedDefaultOutputDeviceID_;
    std::shared_ptr<WorkItem> pendingSystemOutputRebuild_;
    std::shared_ptr<WorkItem> pendingGraceEnd_;
    std::optional<Clock::Date> ignoreOutputRouteChangesUntil_;
    int failedRebuilds_ = 0;  ///< in a row
};

}  // namespace tapwell
