#include "Platform/Posix/AreaLog.h"

namespace tapwell {

std::function<void(const std::string& message)> makeAreaLog(StandardStreams& streams,
                                                            const std::string& area) {
    return [&streams, prefix = "[Tapwell][" + area + "] "](const std::string& message) {
        streams.writeError(prefix + message + "\n");
    };
}

}  // namespace tapwell
