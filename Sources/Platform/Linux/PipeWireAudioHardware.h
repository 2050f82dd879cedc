#pragma once

#include "Platform/AudioHardware.h"

#include <functional>
#include <memory>
#include <string>

namespace tapwell {

/// The audio hardware as a PipeWire client. Host ticks are nanoseconds of CLOCK_MONOTONIC.
///
/// Connects at the first call that needs the server, and again whenever the server was lost: at
/// the next such call, and while there are property listeners also in the background. A lost
/// server's devices do not come back: they have new ids then, and the procedures of the old ones
/// stay silent.
///
/// Calls from several threads wait for each other. The queues given here are only submitted to,
/// never waited for; those of I/O procedures must be this host's. The last reference to a queue is
/// never dropped by a thread of this class.
class PipeWireAudioHardware final : public AudioHardware {
public:
    /// Gets one line for people, without its end. Called on any thread; must not call back.
    using Logger = std::function<void(const std::string& message)>;

    explicit PipeWireAudioHardware(Logger log);
    /// Stops everything. Work that was submitted to queues before may still run.
    ~PipeWireAudioHardware() override;

    /// Whether the audio server refuses this process. Tries to connect if there is no connection.
    bool isAccessRefused() const;

    OSStatus getPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 std::span<const std::byte> qualifier,
                                 std::uint32_t& outSize) override;
    OSStatus getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> qualifier, std::uint32_t& ioSize,
                             void* outData) override;
    OSStatus addPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                 const std::shared_ptr<SerialQueue>& queue,
                                 const AudioPropertyListener& listener) override;
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
    std::unique_ptr<Core> core_;
};

}  // namespace tapwell
