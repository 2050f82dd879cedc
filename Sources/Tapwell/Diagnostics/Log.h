#pragma once

#include "Platform/StandardStreams.h"

#include <string>
#include <utility>

namespace tapwell {

/// Writes the diagnostics of one area to standard error, "[Tapwell][<area>] <message>". Cheap to
/// copy. Any thread except a real-time one; never blocks.
class Log {
public:
    Log(StandardStreams& streams, const std::string& area)
        : streams_(&streams), prefix_("[Tapwell][" + area + "] ") {}

    void line(const std::string& message) const { streams_->writeError(prefix_ + message + "\n"); }

    /// The same destination under another area.
    Log withArea(const std::string& area) const { return Log(*streams_, area); }

private:
    StandardStreams* streams_;
    std::string prefix_;
};

}  // namespace tapwell
