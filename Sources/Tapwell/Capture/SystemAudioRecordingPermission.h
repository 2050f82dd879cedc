#pragma once

#include "Platform/AudioHardware.h"
#include "Platform/Authorization.h"
#include "Platform/Environment.h"
#include "Platform/QueueFactory.h"
#include "Platform/StandardStreams.h"

#include <functional>
#include <string>

namespace tapwell {

/// Whether this process may capture the system's audio.
class SystemAudioRecordingPermission {
public:
    enum class Status { granted, denied, notDetermined };

    struct Services {
        AudioHardware& hardware;
        Authorization& authorization;
        const Environment& environment;
        QueueFactory& queues;
        StandardStreams& streams;
    };

    explicit SystemAudioRecordingPermission(const Services& services) : services_(services) {}

    /// Never prompts. Any thread.
    Status currentStatus() const;

    /// Makes the system ask the user, unless access is granted already, and returns the status
    /// afterwards. Blocks its caller; never throws.
    Status request() const;

    /// "granted", "denied" or "not-determined".
    static std::string rawValue(Status status);

private:
    void triggerPermissionViaTapStart(const std::function<void(Status)>& completion) const;

    const Services services_;
};

}  // namespace tapwell
