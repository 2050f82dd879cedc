#pragma once

#include "Platform/AudioBufferList.h"
#include "Platform/AudioObject.h"
#include "Platform/AudioTimeStamp.h"
#include "Platform/OSStatus.h"
#include "Platform/PropertyDictionary.h"
#include "Platform/SerialQueue.h"
#include "Platform/TapDescription.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace tapwell {

/// Names an I/O procedure of one device; 0 is none. Not reused within a process's lifetime.
using AudioIOProcID = std::uint64_t;

/// Called once an I/O cycle on the procedure's queue. `now` is the moment of the cycle, `inputTime`
/// that of the first input frame. The input memory belongs to the host and is valid only during
/// the call. The work must be short: a queue that falls behind by more than the host's ring (at
/// least 2 s) loses audio.
using AudioIOBlock = std::function<void(const AudioTimeStamp& now, AudioBufferList input,
                                        const AudioTimeStamp& inputTime)>;

/// Called with the addresses that changed, at least one; there may be some that were not asked for.
using AudioPropertyListenerBlock =
    std::function<void(std::span<const AudioObjectPropertyAddress> addresses)>;

/// A listener's identity: it is removed with the same pointer that it was added with.
using AudioPropertyListener = std::shared_ptr<AudioPropertyListenerBlock>;

/// The audio hardware as a model of objects with properties: devices, process taps, aggregate
/// devices and I/O procedures.
///
/// Every call may be made on any thread except a real-time one, and may take as long as a round
/// trip to the audio system, at most 1 s. Statuses follow OSStatus.h; output arguments are written
/// only on success. Where the audio system is missing or lost, every property read fails, creating
/// fails, destroying succeeds, and running procedures deliver nothing; when it is back, the
/// listeners of the default devices are notified.
class AudioHardware {
public:
    virtual ~AudioHardware() = default;

    /// Size in bytes of a property's value.
    virtual OSStatus getPropertyDataSize(AudioObjectID object,
                                         const AudioObjectPropertyAddress& address,
                                         std::span<const std::byte> qualifier,
                                         std::uint32_t& outSize) = 0;

    /// Reads a property. `ioSize` is the room at `outData` and becomes the size written;
    /// kAudioHardwareBadPropertySizeError when the room is too small. A value that is an object is
    /// written as `PropertyObject*`, which the caller owns afterwards.
    ///
    /// Errors: kAudioHardwareBadObjectError for an object that does not exist (any more),
    /// kAudioHardwareUnknownPropertyError for a property that it does not have. A default device
    /// that is not there fails with kAudioHardwareUnspecifiedError.
    virtual OSStatus getPropertyData(AudioObjectID object,
                                     const AudioObjectPropertyAddress& address,
                                     std::span<const std::byte> qualifier, std::uint32_t& ioSize,
                                     void* outData) = 0;

    /// Calls `listener` on `queue`, asynchronously, after every change of the property. Nothing is
    /// called for the present value. After `removePropertyListener` has returned no further call is
    /// submitted; one that was submitted before may still run.
    virtual OSStatus addPropertyListener(AudioObjectID object,
                                         const AudioObjectPropertyAddress& address,
                                         const std::shared_ptr<SerialQueue>& queue,
                                         const AudioPropertyListener& listener) = 0;
    virtual OSStatus removePropertyListener(AudioObjectID object,
                                            const AudioObjectPropertyAddress& address,
                                            const std::shared_ptr<SerialQueue>& queue,
                                            const AudioPropertyListener& listener) = 0;

    /// kAudioDevicePermissionsError when this process may not capture system audio.
    virtual OSStatus createProcessTap(const TapDescription& description, AudioObjectID& outTap) = 0;
    virtual OSStatus destroyProcessTap(AudioObjectID tap) = 0;

    /// `description` uses the keys of PropertyDictionary.h. The device captures the tap in its tap
    /// list, clocked by its main sub-device. Permissions as createProcessTap.
    virtual OSStatus createAggregateDevice(const PropertyDictionary& description,
                                           AudioObjectID& outDevice) = 0;
    virtual OSStatus destroyAggregateDevice(AudioObjectID device) = 0;

    /// Registers `block` to be called on `queue` while the procedure runs. The procedure stays with
    /// its device: it never moves to another one by itself. Its buffers have the device's input
    /// format (kAudioStreamPropertyVirtualFormat, or kAudioTapPropertyFormat for an aggregate with
    /// a tap) as it was at creation, for the procedure's whole life.
    virtual OSStatus createIOProcID(AudioIOProcID& outProc, AudioObjectID device,
                                    const std::shared_ptr<SerialQueue>& queue,
                                    AudioIOBlock block) = 0;
    /// Stops first if need be. After the return no further cycle is submitted to the queue; one
    /// that runs at the moment of the call may still finish. May be called on the procedure's
    /// queue.
    virtual OSStatus destroyIOProcID(AudioObjectID device, AudioIOProcID proc) = 0;

    /// Starts capture, asynchronously: the first cycle follows within some cycles of the device.
    virtual OSStatus startDevice(AudioObjectID device, AudioIOProcID proc) = 0;
    /// Frames captured before the stop and not yet delivered are dropped.
    virtual OSStatus stopDevice(AudioObjectID device, AudioIOProcID proc) = 0;
};

}  // namespace tapwell
