#include "Fakes/FakeDispatch.h"
#include "Fakes/FakeFoundation.h"
#include "Fakes/FakeSystem.h"

#include <Block.h>

#include <cstring>

namespace {

using maccheck::FakeSystem;

FakeSystem& system() {
    return FakeSystem::get();
}

AudioDeviceIOProcID asProcedure(std::size_t id) {
    return reinterpret_cast<AudioDeviceIOProcID>(id);
}

FakeSystem::Procedure* find(AudioObjectID device, AudioDeviceIOProcID id) {
    const auto found = system().procedures.find(reinterpret_cast<std::size_t>(id));
    const bool isThere = found != system().procedures.end() && found->second.device == device;
    if (!isThere) system().violated("unknown procedure of " + std::to_string(device));
    return isThere ? &found->second : nullptr;
}

template <typename Plain>
OSStatus put(const Plain& value, UInt32* ioSize, void* out) {
    if (*ioSize < sizeof value) return kAudioHardwareBadPropertySizeError;
    std::memcpy(out, &value, sizeof value);
    *ioSize = sizeof value;
    return noErr;
}

OSStatus put(const std::string& text, UInt32* ioSize, void* out) {
    return put(maccheck::makeString(text), ioSize, out);
}

bool isSame(const FakeSystem::Listener& listener, AudioObjectID object,
            const AudioObjectPropertyAddress* address, dispatch_queue_t queue,
            AudioObjectPropertyListenerBlock block) {
    return listener.object == object && listener.queue == queue && listener.given == block &&
           std::memcmp(&listener.address, address, sizeof *address) == 0;
}

}  // namespace

extern "C" {

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object,
                                        const AudioObjectPropertyAddress* address, UInt32,
                                        const void*, UInt32* outSize) {
    const OSStatus status = system().called(__func__, object);
    if (status != noErr) return status;
    const auto found = system().properties.find({object, address->mSelector});
    if (found == system().properties.end()) return kAudioHardwareUnknownPropertyError;
    *outSize = std::visit(
        [](const auto& value) -> UInt32 {
            return std::is_same_v<std::decay_t<decltype(value)>, std::string> ? sizeof(CFStringRef)
                                                                              : sizeof value;
        },
        found->second);
    return noErr;
}

OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 qualifierSize, const void* qualifier, UInt32* ioSize,
                                    void* outData) {
    const auto* const bytes = static_cast<const std::byte*>(qualifier);
    system().lastQualifier.assign(bytes, bytes + qualifierSize);
    const OSStatus status = system().called(__func__, object);
    if (status != noErr) return status;
    const auto found = system().properties.find({object, address->mSelector});
    if (found == system().properties.end()) return kAudioHardwareUnknownPropertyError;
    return std::visit([&](const auto& value) { return put(value, ioSize, outData); },
                      found->second);
}

OSStatus AudioObjectAddPropertyListenerBlock(AudioObjectID object,
                                             const AudioObjectPropertyAddress* address,
                                             dispatch_queue_t queue,
                                             AudioObjectPropertyListenerBlock listener) {
    const OSStatus status = system().called(__func__, object);
    if (status != noErr) return status;
    maccheck::retain(queue);
    system().listeners.push_back({object, *address, queue, listener, Block_copy(listener)});
    return noErr;
}

OSStatus AudioObjectRemovePropertyListenerBlock(AudioObjectID object,
                                                const AudioObjectPropertyAddress* address,
                                                dispatch_queue_t queue,
                                                AudioObjectPropertyListenerBlock listener) {
    const OSStatus status = system().called(__func__, object);
    if (status != noErr) return status;
    auto& all = system().listeners;
    for (auto found = all.begin(); found != all.end(); ++found) {
        if (!isSame(*found, object, address, queue, listener)) continue;
        Block_release(found->copy);
        dispatch_release(found->queue);
        all.erase(found);
        return noErr;
    }
    system().violated("removed a listener that was never added");
    return kAudioHardwareIllegalOperationError;
}

OSStatus AudioHardwareCreateAggregateDevice(CFDictionaryRef description, AudioObjectID* outDevice) {
    system().lastAggregate = maccheck::textOfObject(description);
    const OSStatus status = system().called(__func__);
    if (status != noErr) return status;
    *outDevice = ++system().lastObject;
    system().aggregates.insert(*outDevice);
    return noErr;
}

OSStatus AudioHardwareDestroyAggregateDevice(AudioObjectID device) {
    for (const auto& [id, procedure] : system().procedures)
        if (procedure.device == device) system().violated("destroyed a device with a procedure");
    if (system().aggregates.erase(device) == 0) system().violated("destroyed an unknown aggregate");
    return system().called(__func__, device);
}

OSStatus AudioDeviceCreateIOProcIDWithBlock(AudioDeviceIOProcID* outProcedure, AudioObjectID device,
                                            dispatch_queue_t queue, AudioDeviceIOBlock block) {
    const OSStatus status = system().called(__func__, device);
    if (status != noErr) return status;
    const std::size_t id = ++system().lastProcedure;
    maccheck::retain(queue);
    system().procedures.emplace(id, FakeSystem::Procedure{device, queue, Block_copy(block), false});
    *outProcedure = asProcedure(id);
    return noErr;
}

OSStatus AudioDeviceDestroyIOProcID(AudioObjectID device, AudioDeviceIOProcID id) {
    FakeSystem::Procedure* const procedure = find(device, id);
    if (procedure == nullptr) return kAudioHardwareBadDeviceError;
    if (procedure->isRunning) system().violated("destroyed a running procedure");
    Block_release(procedure->copy);
    dispatch_release(procedure->queue);
    system().procedures.erase(reinterpret_cast<std::size_t>(id));
    return system().called(__func__, device);
}

OSStatus AudioDeviceStart(AudioObjectID device, AudioDeviceIOProcID id) {
    const OSStatus status = system().called(__func__, device);
    FakeSystem::Procedure* const procedure = find(device, id);
    if (status == noErr && procedure != nullptr) procedure->isRunning = true;
    return status;
}

OSStatus AudioDeviceStop(AudioObjectID device, AudioDeviceIOProcID id) {
    if (FakeSystem::Procedure* const procedure = find(device, id)) procedure->isRunning = false;
    return system().called(__func__, device);
}

}  // extern "C"
