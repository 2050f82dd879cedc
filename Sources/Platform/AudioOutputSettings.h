#pragma once

#include <cstdint>

namespace tapwell {

/// What an asset writer's input encodes to.
struct AudioOutputSettings {
    std::uint32_t formatID = 0;
    double sampleRate = 0;  ///< Hz
    std::int64_t numberOfChannels = 0;
    std::int64_t encoderBitRate = 0;  ///< bits a second, all channels together

    friend bool operator==(const AudioOutputSettings&, const AudioOutputSettings&) = default;
};

}  // namespace tapwell
