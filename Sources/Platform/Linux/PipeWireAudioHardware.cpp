#include "Platform/Linux/PipeWireAudioHardware.h"

#include "Platform/Linux/CaptureProcedure.h"
#include "Platform/Linux/PipeWireConnection.h"
#include "Platform/Linux/PipeWireObjectModel.h"
#include "Platform/Linux/PropertyListeners.h"

#include <map>
#include <utility>

namespace tapwell {

/// Everything is guarded by the connection's lock, which its threads hold while they call here.
struct PipeWireAudioHardware::Core {
    explicit Core(Logger logger)
        : log(std::move(logger)),
          connection({.changed = [this] { notifyListeners(); },
                      .willDisconnect = [this] { silence(); },
                      .woken = [this] { reportLosses(); }}) {}

    /// kAudioDevicePermissionsError when the server refuses us.
    OSStatus connect() {
        if (connection.ensureReady()) return noErr;
        return connection.isAccessRefused() ? kAudioDevicePermissionsError
                                            : kAudioHardwareNotRunningError;
    }

    PipeWireObjectModel::Reading read(AudioObjectID object,
                                      const AudioObjectPropertyAddress& address,
                                      std::span<const std::byte> qualifier) {
        const PipeWireConnection::Lock lock(connection);
        connection.ensureReady();
        return model.read(object, address, qualifier);
    }

    PropertyListeners::Value present(AudioObjectID object,
                                     const AudioObjectPropertyAddress& address) {
        const PipeWireObjectModel::Reading reading = model.read(object, address, {});
        const auto* value = std::get_if<PropertyValue>(&reading);
        return value != nullptr ? PropertyListeners::Value(*value) : std::nullopt;
    }

    void notifyListeners() {
        listeners.notifyChanges(
            [this](AudioObjectID object, const AudioObjectPropertyAddress& address) {
                return present(object, address);
            });
    }

    void silence() {
        for (auto& [id, procedure] : procedures)
            procedure->stop();
        listeners.forgetValues();
    }

    void reportLosses() {
        for (auto& [id, procedure] : procedures) {
            const std::uint64_t lostFrames = procedure->takeLostFrames();
            if (lostFrames > 0)
                log("capture buffer overrun: the queue of procedure " + std::to_string(id) +
                    " fell behind, " + std::to_string(lostFrames) + " frames lost so far");
        }
    }

    CaptureProcedure* find(AudioObjectID device, AudioIOProcID id) {
        const auto found = procedures.find(id);
        const bool isFound = found != procedures.end() && found->second->device() == device;
        return isFound ? found->second.get() : nullptr;
    }

    const Logger log;
    PropertyListeners listeners;
    std::map<AudioIOProcID, std::unique_ptr<CaptureProcedure>> procedures;
    AudioIOProcID lastProcedure = 0;
    // Last, because its destructor stops the threads that use the rest.
    PipeWireConnection connection;
    PipeWireObjectModel model{connection};
};

PipeWireAudioHardware::PipeWireAudioHardware(Logger log)
    : core_(std::make_unique<Core>(std::move(log))) {}

PipeWireAudioHardware::~PipeWireAudioHardware() = default;

bool PipeWireAudioHardware::isAccessRefused() const {
    const PipeWireConnection::Lock lock(core_->connection);
    return core_->connect() == kAudioDevicePermissionsError;
}

OSStatus PipeWireAudioHardware::getPropertyDataSize(AudioObjectID object,
                                                    const AudioObjectPropertyAddress& address,
                                                    std::span<const std::byte> qualifier,
                                                    std::uint32_t& outSize) {
    const PipeWireObjectModel::Reading reading = core_->read(object, address, qualifier);
    if (const auto* status = std::get_if<OSStatus>(&reading)) return *status;
    outSize = std::get<PropertyValue>(reading).size();
    return noErr;
}

OSStatus PipeWireAudioHardware::getPropertyData(AudioObjectID object,
                                                const AudioObjectPropertyAddress& address,
                                                std::span<const std::byte> qualifier,
                                                std::uint32_t& ioSize, void* outData) {
    const PipeWireObjectModel::Reading reading = core_->read(object, address, qualifier);
    if (const auto* status = std::get_if<OSStatus>(&reading)) return *status;
    return std::get<PropertyValue>(reading).write(ioSize, outData);
}

OSStatus PipeWireAudioHardware::addPropertyListener(AudioObjectID object,
                                                    const AudioObjectPropertyAddress& address,
                                                    const std::shared_ptr<SerialQueue>& queue,
                                                    const AudioPropertyListener& listener) {
    const PipeWireConnection::Lock lock(core_->connection);
    core_->connection.ensureReady();
    const PipeWireObjectModel::Reading reading = core_->model.read(object, address, {});
    const auto* status = std::get_if<OSStatus>(&reading);
    // The system can be listened to while it is not there; its defaults, while there are none.
    const bool isRefused = status != nullptr && object != kAudioObjectSystemObject;
    const bool isUnknown = status != nullptr && *status == kAudioHardwareUnknownPropertyError;
    if (isRefused || isUnknown) return *status;
    core_->listeners.add({object, address, queue, listener}, core_->present(object, address));
    core_->connection.setReconnects(true);
    return noErr;
}

OSStatus PipeWireAudioHardware::removePropertyListener(AudioObjectID object,
                                                       const AudioObjectPropertyAddress& address,
                                                       const std::shared_ptr<SerialQueue>& queue,
                                                       const AudioPropertyListener& listener) {
    const PipeWireConnection::Lock lock(core_->connection);
    const bool wasThere = core_->listeners.remove({object, address, queue, listener});
    if (core_->listeners.isEmpty()) core_->connection.setReconnects(false);
    return wasThere ? noErr : kAudioHardwareUnspecifiedError;
}

OSStatus PipeWireAudioHardware::createProcessTap(const TapDescription& description,
                                                 AudioObjectID& outTap) {
    const PipeWireConnection::Lock lock(core_->connection);
    const OSStatus status = core_->connect();
    return status != noErr ? status : core_->model.createTap(description, outTap);
}

OSStatus PipeWireAudioHardware::destroyProcessTap(AudioObjectID tap) {
    const PipeWireConnection::Lock lock(core_->connection);
    return core_->model.destroyTap(tap);
}

OSStatus PipeWireAudioHardware::createAggregateDevice(const PropertyDictionary& description,
                                                      AudioObjectID& outDevice) {
    const PipeWireConnection::Lock lock(core_->connection);
    const OSStatus status = core_->connect();
    return status != noErr ? status : core_->model.createAggregate(description, outDevice);
}

OSStatus PipeWireAudioHardware::destroyAggregateDevice(AudioObjectID device) {
    const PipeWireConnection::Lock lock(core_->connection);
    for (auto& [id, procedure] : core_->procedures) {
        if (procedure->device() == device) procedure->stop();
    }
    return core_->model.destroyAggregate(device);
}

OSStatus PipeWireAudioHardware::createIOProcID(AudioIOProcID& outProc, AudioObjectID device,
                                               const std::shared_ptr<SerialQueue>& queue,
                                               AudioIOBlock block) {
    auto ownQueue = std::dynamic_pointer_cast<AsioSerialQueue>(queue);
    if (ownQueue == nullptr) return kAudioHardwareIllegalOperationError;
    const PipeWireConnection::Lock lock(core_->connection);
    if (const OSStatus status = core_->connect(); status != noErr) return status;
    CaptureTarget target;
    if (const OSStatus status = core_->model.captureTarget(device, target); status != noErr)
        return status;
    outProc = ++core_->lastProcedure;
    core_->procedures.emplace(
        outProc, std::make_unique<CaptureProcedure>(device, std::move(target), std::move(ownQueue),
                                                    std::move(block)));
    return noErr;
}

OSStatus PipeWireAudioHardware::destroyIOProcID(AudioObjectID device, AudioIOProcID proc) {
    std::unique_ptr<CaptureProcedure> removed;
    const PipeWireConnection::Lock lock(core_->connection);
    if (core_->find(device, proc) == nullptr) return kAudioHardwareBadDeviceError;
    const auto entry = core_->procedures.find(proc);
    entry->second->stop();
    // Outlives the lock: a queue that goes with it waits for its own work.
    removed = std::move(entry->second);
    core_->procedures.erase(entry);
    return noErr;
}

OSStatus PipeWireAudioHardware::startDevice(AudioObjectID device, AudioIOProcID proc) {
    const PipeWireConnection::Lock lock(core_->connection);
    if (const OSStatus status = core_->connect(); status != noErr) return status;
    CaptureProcedure* procedure = core_->find(device, proc);
    if (procedure == nullptr) return kAudioHardwareBadDeviceError;
    if (procedure->isRunning()) return noErr;
    if (!core_->model.isPresent(procedure->target())) return kAudioHardwareBadDeviceError;
    const bool isStarted = procedure->start(core_->connection.core(),
                                            [core = core_.get()] { core->connection.wake(); });
    return isStarted ? noErr : kAudioHardwareNotReadyError;
}

OSStatus PipeWireAudioHardware::stopDevice(AudioObjectID device, AudioIOProcID proc) {
    const PipeWireConnection::Lock lock(core_->connection);
    CaptureProcedure* procedure = core_->find(device, proc);
    if (procedure == nullptr) return kAudioHardwareBadDeviceError;
    procedure->stop();
    return noErr;
}

}  // namespace tapwell
