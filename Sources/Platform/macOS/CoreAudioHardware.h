#pragma once

#include "Platform/AudioHardware.h"

#include <memory>

namespace tapwell {

/// The system's audio hardware, one call to one call. Queues are those of DispatchQueueFactory.
///
/// An I/O procedure's block is called on its queue while the device's real-time thread waits, so
/// there is no ring in between: a queue that falls behind costs cycles at once. The buffers'
/// format follows the device if it is changed under a running procedure.
class CoreAudioHardware final : public AudioHardware {
public:
    CoreAudioHardware();
    /// Stops and destroys what procedures and listeners are left.
    ~CoreAudioHardware() override;

    OSStatus getPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 std::span<const std::byte> qualifier,
                                 std::uint32_t& outSize) override;
    OSStatus getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> qualifier, std::uint32_t& ioSize,
                             void* outData) override;
    OSStatus addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 const std::shared_ptr<SerialQueue>& queue,
                                 const AudioPropertyListener& listener) override;
    /// Lets go of the listener whatever the status.
    OSStatus removePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                    const std::shared_ptr<SerialQueue>& queue,
                                    const AudioPropertyListener& listener) override;
    OSStatus createProcessTap(const TapDescription& description, AudioObjectID& outTap) override;
    OSStatus destroyProcessTap(AudioObjectID tap) override;
    OSStatus createAggregateDevice(const PropertyDictionary& description,
                                   AudioObjectID& outDevice) override;
    OSStatus destroyAggregateDevice(AudioObjectID device) override;
    OSStatus createIOProcID(AudioIOProcID& outProc, AudioObjectID device,
                            const std::shared_ptr<SerialQueue>& queue, AudioIOBlock block) override;
    OSStatus destroyIOProcID(AudioObjectID device, AudioIOProcID proc) override;
    OSStatus startDevice(AudioObjectID device, AudioIOProcID proc) override;
    OSStatus stopDevice(AudioObjectID device, AudioIOProcID proc) override;

private:
    struct Core;
    const std::unique_ptr<Core> core_;
};

}  // namespace tapwell
