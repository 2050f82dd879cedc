#pragma once

#include "Platform/AudioFormat.h"
#include "Platform/AudioHardware.h"
#include "Platform/AudioTimeStamp.h"
#include "Platform/Environment.h"
#include "Platform/PcmBuffer.h"
#include "Platform/SerialQueue.h"
#include "Tapwell/Diagnostics/Log.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace tapwell {

/// Captures everything that the machine plays, except this process's own sound: a process tap on
/// the default system output device, read through a private aggregate device that is clocked by it.
///
/// empty → prepared → running → empty. A prepare or run that fails leaves nothing behind. Prepare,
/// run and teardown come from the recorder's control path, one at a time.
class SystemAudioTapSession : public std::enable_shared_from_this<SystemAudioTapSession> {
public:
    /// Gets each I/O cycle's audio, wrapping the device's memory (copy what is to be kept), and the
    /// time of its first frame; on the queue given to `run`.
    using OnIO = std::function<void(const PcmBuffer& buffer, const AudioTimeStamp& stamp)>;

    static std::shared_ptr<SystemAudioTapSession> create(AudioHardware& hardware,
                                                         const Environment& environment, Log log);
    ~SystemAudioTapSession();

    /// Makes tap and aggregate device on the present default output. Throws RecorderCoreAudioError.
    void prepareExcludeTapwellPid();

    /// Starts capture. `format` is what buffers are wrapped in: the tap's. `beforeAudioDeviceStart`
    /// may be empty. Throws RecorderCoreAudioError.
    void run(const std::shared_ptr<SerialQueue>& queue, const AudioFormat& format,
             const std::function<void()>& beforeAudioDeviceStart, OnIO onIO);

    /// Stops and destroys whatever exists. Any number of times; never throws.
    void stopAndTeardown();

    /// The output device that the tap was prepared on; absent before, and after a teardown.
    std::optional<AudioObjectID> outputDevice() const { return outputDevice_; }

    /// The tap's own format; absent before `prepareExcludeTapwellPid`.
    const std::optional<AudioFormat>& tapAVFormat() const { return tapAVFormat_; }

    /// The rate at which the aggregate device reports to run, in Hz; absent where it does not.
    std::optional<double> actualRateHz() const;

    /// The tap's format at the rate at which the device really runs, a hint for those who need the
    /// true rate. Absent until it was measured. Any thread.
    std::optional<AudioFormat> ioFormat() const;

private:
    SystemAudioTapSession(AudioHardware& hardware, const Environment& environment, Log log);

    void createTap();
    void createAggregate(const std::string& outputUID);
    void startDevice(const AudioFormat& format);
    void logActualRate(const AudioFormat& format) const;
    void scheduleAggregateSemanticRateHintRefresh(const std::shared_ptr<SerialQueue>& queue,
                                                  const AudioFormat& tapNominalFormat);
    void refreshRunningIOFormat(const std::shared_ptr<SerialQueue>& queue,
                                const AudioFormat& fallback,
                                const AudioStreamBasicDescription& tapStream);
    void publishIOFormat(const std::shared_ptr<SerialQueue>& queue, const AudioFormat& format);
    void destroyAggregate();
    void destroyTap();

    AudioHardware& hardware_;
    const Environment& environment_;
    const Log log_;
    std::optional<AudioObjectID> outputDevice_;
    AudioStreamBasicDescription tapStreamASBD_;
    std::optional<AudioFormat> tapAVFormat_;
    std::string tapUUID_;
    AudioObjectID tapObjectID_ = kAudioObjectUnknown;
    std::atomic<AudioObjectID> aggregateDeviceID_{kAudioObjectUnknown};  ///< read on the queue too
    std::optional<AudioIOProcID> deviceProcID_;
    std::optional<AudioFormat> ioFormat_;  ///< guarded by ioFormatLock_
    mutable std::mutex ioFormatLock_;
};

}  // namespace tapwell
