#pragma once

#include "Platform/AudioHardware.h"
#include "Platform/Simulated/SimulatedDevice.h"
#include "Platform/Simulated/VirtualTime.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tapwell {

/// Scripted audio hardware in virtual time. Keeps a journal of the calls that change something, and
/// fails those that a test names. Not synchronised.
class SimulatedAudioHardware final : public AudioHardware {
public:
    explicit SimulatedAudioHardware(VirtualTime& time) : time_(time) {}

    // What a test does.

    AudioObjectID addDevice(SimulatedDevice device);
    /// The device is gone: reads fail, its procedures deliver nothing more.
    void removeDevice(AudioObjectID device);
    SimulatedDevice& device(AudioObjectID device) { return devices_.at(device); }
    /// Absent: there is none. Listeners are told, also when it is the same device again.
    void setDefaultOutput(std::optional<AudioObjectID> device);
    void setDefaultInput(std::optional<AudioObjectID> device);
    /// The next `times` calls of that name ("createProcessTap", …) fail with `status`.
    void failNext(const std::string& call, OSStatus status, int times = 1);
    /// The process object that our pid translates to; 0 for none.
    void setProcessObject(AudioObjectID process) { processObject_ = process; }

    /// Calls that changed something, in order, as "createProcessTap", "startDevice" and so on.
    const std::vector<std::string>& journal() const { return journal_; }
    int countCalls(const std::string& call) const;
    std::size_t runningProcedures() const;
    std::size_t liveTaps() const { return taps_.size(); }
    std::size_t liveAggregates() const { return aggregates_.size(); }
    std::size_t listenerCount() const { return listeners_.size(); }
    /// The description of the aggregate device made last.
    const PropertyDictionary& lastAggregateDescription() const { return lastAggregate_; }
    const TapDescription& lastTapDescription() const { return lastTap_; }
    /// Calls the default-device listeners as the system does on a change of that selector.
    void notify(std::uint32_t selector);

    /// Gives every running procedure a cycle of no frames, as real hardware does now and then.
    void deliverEmptyCycle();

    // AudioHardware.

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
    struct Listener {
        AudioObjectPropertyAddress address;
        std::shared_ptr<SerialQueue> queue;
        AudioPropertyListener block;
    };
    struct Procedure {
        AudioObjectID source = kAudioObjectUnknown;  ///< the real device behind
        std::shared_ptr<SerialQueue> queue;
        std::shared_ptr<AudioIOBlock> block;
        bool running = false;
        std::int64_t nextCycle = 0;
        VirtualTime::Duration firstFrame{0};
    };

    OSStatus scriptedFailure(const std::string& call);
    OSStatus systemProperty(std::uint32_t selector, std::span<const std::byte> qualifier,
                            std::uint32_t& ioSize, void* outData);
    OSStatus deviceProperty(const SimulatedDevice& device, std::uint32_t selector,
                            std::uint32_t& ioSize, void* outData) const;
    /// The real device behind a device or an aggregate device; null when there is none.
    const SimulatedDevice* sourceOf(AudioObjectID object, AudioObjectID* outSource = nullptr) const;
    void scheduleCycle(AudioIOProcID proc);
    void deliverCycle(AudioIOProcID proc);

    VirtualTime& time_;
    AudioObjectID nextObject_ = 100;
    AudioIOProcID nextProc_ = 1;
    AudioObjectID processObject_ = 77;
    std::optional<AudioObjectID> defaultOutput_;
    std::optional<AudioObjectID> defaultInput_;
    std::map<AudioObjectID, SimulatedDevice> devices_;
    std::map<AudioObjectID, AudioFormat> taps_;
    std::map<AudioObjectID, AudioObjectID> aggregates_;  ///< to the real device behind
    std::map<AudioIOProcID, Procedure> procedures_;
    std::vector<Listener> listeners_;
    std::map<std::string, std::vector<OSStatus>> failures_;
    std::vector<std::string> journal_;
    PropertyDictionary lastAggregate_;
    TapDescription lastTap_;
};

}  // namespace tapwell
