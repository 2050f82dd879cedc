#pragma once

#include "Platform/Clock.h"
#include "Platform/SerialQueue.h"
#include "Tapwell/Diagnostics/Log.h"

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tapwell {

/// Notices when a capture stream delivers nothing, which no device tells by itself, and says so in
/// the log, once, and once again when it is back. The recording goes on meanwhile.
///
/// Started and stopped by the recorder's control path; looks at the streams on the queue that it is
/// given.
class CaptureWatchdog : public std::enable_shared_from_this<CaptureWatchdog> {
public:
    static constexpr std::chrono::milliseconds checkInterval{500};
    /// A stream that is quiet for so long is reported.
    static constexpr std::chrono::milliseconds quietLimit{2000};
    /// Both streams at once are given up sooner. So many checks in a row must have seen nothing: a
    /// process that was halted itself finds what was captured meanwhile after the first.
    static constexpr int checksBeforeOutage = 3;
    /// What comes back may have been captured up to so long before it is delivered.
    static constexpr std::chrono::milliseconds outageMargin{1000};

    /// Gets the moment, in seconds of host time, up to which neither stream delivered anything;
    /// again at every check of an outage. On the queue.
    using OnOutage = std::function<void(double hostSeconds)>;

    static std::shared_ptr<CaptureWatchdog> create(std::shared_ptr<SerialQueue> queue,
                                                   const Clock& clock, OnOutage onOutage, Log log);

    /// From the capture queues, at every buffer.
    void systemArrived() { arrived(system_); }
    void microphoneArrived() { arrived(microphone_); }

    void start();
    /// When this returns no outage is reported any more.
    void stop();

private:
    struct Stream {
        const char* name;
        std::atomic<Clock::Date> lastArrival{Clock::Date::zero()};
        std::atomic<Clock::Date> lastPause{Clock::Date::zero()};  ///< that was worth a report
        Clock::Date lastSeen = Clock::Date::zero();  ///< the arrival that the last check knew
        bool isReported = false;
    };

    CaptureWatchdog(std::shared_ptr<SerialQueue> queue, const Clock& clock, OnOutage onOutage,
                    Log log);

    void arrived(Stream& stream) const;
    void scheduleCheck();
    void check();
    /// Whether anything arrived since the last check.
    bool checkStream(Stream& stream);

    const Clock& clock_;
    const OnOutage onOutage_;
    const Log log_;
    const std::shared_ptr<SerialQueue> queue_;
    Stream system_{"the system output"};
    Stream microphone_{"the microphone"};

    // Of the queue.
    std::shared_ptr<WorkItem> pendingCheck_;
    int quietChecks_ = 0;  ///< in a row, of both streams
};

}  // namespace tapwell
