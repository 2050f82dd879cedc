#pragma once

#include "Platform/AudioHardware.h"
#include "Platform/Linux/PipeWireCaptureStream.h"
#include "Platform/Linux/PipeWireConnection.h"
#include "Platform/Linux/PropertyValue.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <variant>

namespace tapwell {

/// What the audio server has, and what this process has made, as objects with properties. Sinks and
/// sources are devices. A tap is a description; an aggregate device with a tap captures the monitor
/// of its main sub-device, a sink.
///
/// Used with the connection's lock held. Reads fail while the connection is not ready; objects of
/// this process stay until they are destroyed.
class PipeWireObjectModel {
public:
    using Reading = std::variant<OSStatus, PropertyValue>;

    explicit PipeWireObjectModel(PipeWireConnection& connection) : connection_(connection) {}

    Reading read(AudioObjectID object, const AudioObjectPropertyAddress& address,
                 std::span<const std::byte> qualifier);

    /// Only this process can be left out, which plays nothing, and nothing can be muted:
    /// kAudioHardwareIllegalOperationError for more.
    OSStatus createTap(const TapDescription& description, AudioObjectID& outTap);
    OSStatus destroyTap(AudioObjectID tap);

    /// kAudioHardwareBadDeviceError when the main sub-device is no sink, and
    /// kAudioHardwareBadObjectError when the tap list does not name one tap.
    OSStatus createAggregate(const PropertyDictionary& description, AudioObjectID& outDevice);
    OSStatus destroyAggregate(AudioObjectID device);

    /// What an I/O procedure of the device captures now.
    OSStatus captureTarget(AudioObjectID device, CaptureTarget& outTarget) const;
    /// Whether the target's node is still there.
    bool isPresent(const CaptureTarget& target) const;

private:
    struct Aggregate {
        std::string uid;
        std::string mainDeviceUid;
        AudioObjectID tap = kAudioObjectUnknown;
    };

    Reading readSystem(const AudioObjectPropertyAddress& address,
                       std::span<const std::byte> qualifier);
    Reading readProcessOf(std::span<const std::byte> qualifier);
    Reading readDevice(const PipeWireNode& node, const AudioObjectPropertyAddress& address) const;
    Reading readTap(AudioObjectID tap, const AudioObjectPropertyAddress& address) const;
    Reading readAggregate(const Aggregate& aggregate,
                          const AudioObjectPropertyAddress& address) const;
    CaptureTarget targetOn(const PipeWireNode& node) const;
    const PipeWireNode* sinkOfTap(AudioObjectID tap) const;
    const PipeWireNode* sinkOfAggregate(const Aggregate& aggregate) const;
    AudioObjectID tapNamedIn(const PropertyDictionary& aggregate) const;

    PipeWireConnection& connection_;
    AudioObjectID ownProcess_ = kAudioObjectUnknown;
    std::map<AudioObjectID, TapDescription> taps_;
    std::map<AudioObjectID, Aggregate> aggregates_;
};

}  // namespace tapwell
