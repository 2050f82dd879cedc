#pragma once

#include <map>
#include <string>
#include <variant>
#include <vector>

namespace tapwell {

/// A description made of named values, as aggregate devices are described.
struct PropertyDictionary {
    using Value = std::variant<bool, std::string, std::vector<PropertyDictionary>>;

    std::map<std::string, Value> entries;
};

// Keys of an aggregate device's description.
inline constexpr const char* kAudioAggregateDeviceNameKey = "name";             // text
inline constexpr const char* kAudioAggregateDeviceUIDKey = "uid";               // text
inline constexpr const char* kAudioAggregateDeviceMainSubDeviceKey = "master";  // UID of a device
inline constexpr const char* kAudioAggregateDeviceIsPrivateKey = "private";     // bool
inline constexpr const char* kAudioAggregateDeviceIsStackedKey = "stacked";     // bool
inline constexpr const char* kAudioAggregateDeviceTapAutoStartKey = "tapautostart";  // bool
inline constexpr const char* kAudioAggregateDeviceSubDeviceListKey = "subdevices";   // list
inline constexpr const char* kAudioAggregateDeviceTapListKey = "taps";               // list
// Keys of an entry of either list.
inline constexpr const char* kAudioSubDeviceUIDKey = "uid";
inline constexpr const char* kAudioSubTapUIDKey = "uid";
inline constexpr const char* kAudioSubTapDriftCompensationKey = "drift";

}  // namespace tapwell
