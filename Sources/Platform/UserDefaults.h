#pragma once

#include <string>

namespace tapwell {

/// Small flags that outlive the process. Any thread that is not real-time; reading or writing may
/// wait for a disk.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    /// False for a key that was never set, and for a value that is no boolean.
    virtual bool boolForKey(const std::string& key) = 0;

    /// Later reads of this process see the value even if it could not be stored; that failure is a
    /// log line of the host. Other keys are left as they are.
    virtual void setBool(bool value, const std::string& key) = 0;
};

}  // namespace tapwell
