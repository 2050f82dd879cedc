#include "Platform/macOS/CoreAudioHardware.h"

#include "Platform/macOS/CFDescription.h"
#include "Platform/macOS/CFPropertyObject.h"
#include "Platform/macOS/NativeQueue.h"
#include "Platform/macOS/ProcessTap.h"

// Behind the headers of the seam, some of whose names it defines as macros.
#include <Block.h>
#include <CoreAudio/CoreAudio.h>

#include <algorithm>
#include <array>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace tapwell {
namespace {

static_assert(sizeof(AudioObjectPropertyAddress) == sizeof(::AudioObjectPropertyAddress));
static_assert(sizeof(AudioStreamBasicDescription) == sizeof(::AudioStreamBasicDescription));

/// One registration; owns a reference to the block that the system calls.
struct Listener {
    AudioObjectID object;
    AudioObjectPropertyAddress address;
    std::shared_ptr<SerialQueue> queue;
    AudioPropertyListener listener;
    AudioObjectPropertyListenerBlock block;

    bool isFor(AudioObjectID otherObject, const AudioObjectPropertyAddress& otherAddress,
               const SerialQueue* otherQueue, const AudioPropertyListener& otherListener) const {
        return object == otherObject && address == otherAddress && queue.get() == otherQueue &&
               listener == otherListener;
    }
};

struct Procedure {
    AudioObjectID device;
    AudioDeviceIOProcID native;
    bool isStarted;
};

::AudioObjectPropertyAddress native(const AudioObjectPropertyAddress& address) {
    return {address.selector, address.scope, address.element};
}

AudioTimeStamp timeStamp(const ::AudioTimeStamp* stamp) {
    if (stamp == nullptr) return {};
    AudioTimeStamp result;
    result.sampleTime = stamp->mSampleTime;
    result.hostTime = stamp->mHostTime;
    result.flags = stamp->mFlags;
    return result;
}

/// Properties whose value is a Core Foundation object that the reader owns.
bool holdsObject(const AudioObjectPropertyAddress& address) {
    constexpr std::array<AudioObjectPropertySelector, 5> kSelectors = {
        ::kAudioDevicePropertyDeviceUID, kAudioObjectPropertyName, kAudioObjectPropertyManufacturer,
        kAudioProcessPropertyBundleID, kAudioTapPropertyUID};
    return std::find(kSelectors.begin(), kSelectors.end(), address.selector) != kSelectors.end();
}

OSStatus getObject(AudioObjectID object, const AudioObjectPropertyAddress& address,
                   std::span<const std::byte> qualifier, std::uint32_t& ioSize, void* outData) {
    if (ioSize < sizeof(PropertyObject*)) return tapwell::kAudioHardwareBadPropertySizeError;
    const ::AudioObjectPropertyAddress where = native(address);
    CFTypeRef value = nullptr;
    UInt32 size = sizeof value;
    const OSStatus status = AudioObjectGetPropertyData(
        object, &where, static_cast<UInt32>(qualifier.size()), qualifier.data(), &size, &value);
    if (status != tapwell::noErr) return status;
    CFReference<CFTypeRef> owned(value);
    if (!owned) return tapwell::kAudioHardwareUnspecifiedError;
    *static_cast<PropertyObject**>(outData) = new CFPropertyObject(std::move(owned));
    ioSize = sizeof(PropertyObject*);
    return tapwell::noErr;
}

// Both functions take their function by value, because a block would keep a reference as one.

/// A block on the heap, owned by the caller, that calls `listener`.
AudioObjectPropertyListenerBlock makeBlock(AudioPropertyListener listener) {
    return Block_copy(^(UInt32 count, const ::AudioObjectPropertyAddress* addresses) {
      std::vector<AudioObjectPropertyAddress> changed;
      changed.reserve(count);
      for (UInt32 i = 0; i < count; ++i)
          changed.push_back({addresses[i].mSelector, addresses[i].mScope, addresses[i].mElement});
      (*listener)(changed);
    });
}

/// A block on the heap, owned by the caller. Allocates in its first cycle at most.
AudioDeviceIOBlock makeBlock(AudioIOBlock block) {
    const auto input = std::make_shared<std::vector<AudioBuffer>>();
    return Block_copy(^(const ::AudioTimeStamp* now, const ::AudioBufferList* list,
                        const ::AudioTimeStamp* inputTime, ::AudioBufferList*,
                        const ::AudioTimeStamp*) {
      input->clear();
      const UInt32 count = list == nullptr ? 0 : list->mNumberBuffers;
      for (UInt32 i = 0; i < count; ++i) {
          const ::AudioBuffer& buffer = list->mBuffers[i];
          input->push_back({buffer.mNumberChannels, buffer.mDataByteSize, buffer.mData});
      }
      block(timeStamp(now), *input, timeStamp(inputTime));
    });
}

}  // namespace

/// The lock is held for the records alone, never during a call of the system.
struct CoreAudioHardware::Core {
    std::mutex lock;
    std::vector<Listener> listeners;                ///< guarded by lock
    std::map<AudioIOProcID, Procedure> procedures;  ///< guarded by lock
    AudioIOProcID lastProcedure = 0;                ///< guarded by lock

    /// Absent when the device has no such procedure.
    std::optional<Procedure> find(AudioObjectID device, AudioIOProcID proc) {
        const std::lock_guard hold(lock);
        const auto found = procedures.find(proc);
        if (found == procedures.end() || found->second.device != device) return std::nullopt;
        return found->second;
    }

    void setStarted(AudioIOProcID proc, bool isStarted) {
        const std::lock_guard hold(lock);
        const auto found = procedures.find(proc);
        if (found != procedures.end()) found->second.isStarted = isStarted;
    }

    static OSStatus remove(const Listener& listener) {
        const ::AudioObjectPropertyAddress where = native(listener.address);
        const OSStatus status = AudioObjectRemovePropertyListenerBlock(
            listener.object, &where, nativeQueue(*listener.queue), listener.block);
        Block_release(listener.block);
        return status;
    }

    static OSStatus destroy(const Procedure& procedure) {
        if (procedure.isStarted) AudioDeviceStop(procedure.device, procedure.native);
        return AudioDeviceDestroyIOProcID(procedure.device, procedure.native);
    }
};

CoreAudioHardware::CoreAudioHardware() : core_(std::make_unique<Core>()) {}

CoreAudioHardware::~CoreAudioHardware() {
    for (const auto& [id, procedure] : core_->procedures)
        Core::destroy(procedure);
    for (const Listener& listener : core_->listeners)
        Core::remove(listener);
}

OSStatus CoreAudioHardware::getPropertyDataSize(AudioObjectID object,
                                                const AudioObjectPropertyAddress& address,
                                                std::span<const std::byte> qualifier,
                                                std::uint32_t& outSize) {
    const ::AudioObjectPropertyAddress where = native(address);
    UInt32 size = 0;
    const OSStatus status = AudioObjectGetPropertyDataSize(
        object, &where, static_cast<UInt32>(qualifier.size()), qualifier.data(), &size);
    if (status == tapwell::noErr) outSize = size;
    return status;
}

OSStatus CoreAudioHardware::getPropertyData(AudioObjectID object,
                                            const AudioObjectPropertyAddress& address,
                                            std::span<const std::byte> qualifier,
                                            std::uint32_t& ioSize, void* outData) {
    if (holdsObject(address)) return getObject(object, address, qualifier, ioSize, outData);
    const ::AudioObjectPropertyAddress where = native(address);
    UInt32 size = ioSize;
    const OSStatus status = AudioObjectGetPropertyData(
        object, &where, static_cast<UInt32>(qualifier.size()), qualifier.data(), &size, outData);
    if (status == tapwell::noErr) ioSize = size;
    return status;
}

OSStatus CoreAudioHardware::addPropertyListener(AudioObjectID object,
                                                const AudioObjectPropertyAddress& address,
                                                const std::shared_ptr<SerialQueue>& queue,
                                                const AudioPropertyListener& listener) {
    const ::AudioObjectPropertyAddress where = native(address);
    const AudioObjectPropertyListenerBlock block = makeBlock(listener);
    const OSStatus status =
        AudioObjectAddPropertyListenerBlock(object, &where, nativeQueue(*queue), block);
    if (status != tapwell::noErr) {
        Block_release(block);
        return status;
    }
    const std::lock_guard hold(core_->lock);
    core_->listeners.push_back({object, address, queue, listener, block});
    return status;
}

OSStatus CoreAudioHardware::removePropertyListener(AudioObjectID object,
                                                   const AudioObjectPropertyAddress& address,
                                                   const std::shared_ptr<SerialQueue>& queue,
                                                   const AudioPropertyListener& listener) {
    std::vector<Listener> removed;
    {
        const std::lock_guard hold(core_->lock);
        const auto found = std::find_if(
            core_->listeners.begin(), core_->listeners.end(), [&](const Listener& candidate) {
                return candidate.isFor(object, address, queue.get(), listener);
            });
        if (found == core_->listeners.end()) return tapwell::kAudioHardwareUnspecifiedError;
        removed.push_back(std::move(*found));
        core_->listeners.erase(found);
    }
    return Core::remove(removed.front());
}

OSStatus CoreAudioHardware::createProcessTap(const TapDescription& description,
                                             AudioObjectID& outTap) {
    return tapwell::createProcessTap(description, outTap);
}

OSStatus CoreAudioHardware::destroyProcessTap(AudioObjectID tap) {
    return tapwell::destroyProcessTap(tap);
}

OSStatus CoreAudioHardware::createAggregateDevice(const PropertyDictionary& description,
                                                  AudioObjectID& outDevice) {
    const CFReference<CFDictionaryRef> dictionary = makeCFDictionary(description);
    ::AudioObjectID device = tapwell::kAudioObjectUnknown;
    const OSStatus status = AudioHardwareCreateAggregateDevice(dictionary.get(), &device);
    if (status == tapwell::noErr) outDevice = device;
    return status;
}

OSStatus CoreAudioHardware::destroyAggregateDevice(AudioObjectID device) {
    return AudioHardwareDestroyAggregateDevice(device);
}

OSStatus CoreAudioHardware::createIOProcID(AudioIOProcID& outProc, AudioObjectID device,
                                           const std::shared_ptr<SerialQueue>& queue,
                                           AudioIOBlock block) {
    const AudioDeviceIOBlock heapBlock = makeBlock(block);
    AudioDeviceIOProcID procedure = nullptr;
    const OSStatus status =
        AudioDeviceCreateIOProcIDWithBlock(&procedure, device, nativeQueue(*queue), heapBlock);
    Block_release(heapBlock);  // the system has a reference of its own
    if (status != tapwell::noErr) return status;
    const std::lock_guard hold(core_->lock);
    outProc = ++core_->lastProcedure;
    core_->procedures.emplace(outProc, Procedure{device, procedure, false});
    return status;
}

OSStatus CoreAudioHardware::destroyIOProcID(AudioObjectID device, AudioIOProcID proc) {
    const auto procedure = core_->find(device, proc);
    if (!procedure) return tapwell::kAudioHardwareBadDeviceError;
    {
        const std::lock_guard hold(core_->lock);
        core_->procedures.erase(proc);
    }
    return Core::destroy(*procedure);
}

OSStatus CoreAudioHardware::startDevice(AudioObjectID device, AudioIOProcID proc) {
    const auto procedure = core_->find(device, proc);
    if (!procedure) return tapwell::kAudioHardwareBadDeviceError;
    const OSStatus status = AudioDeviceStart(device, procedure->native);
    if (status == tapwell::noErr) core_->setStarted(proc, true);
    return status;
}

OSStatus CoreAudioHardware::stopDevice(AudioObjectID device, AudioIOProcID proc) {
    const auto procedure = core_->find(device, proc);
    if (!procedure) return tapwell::kAudioHardwareBadDeviceError;
    const OSStatus status = AudioDeviceStop(device, procedure->native);
    core_->setStarted(proc, false);
    return status;
}

}  // namespace tapwell
