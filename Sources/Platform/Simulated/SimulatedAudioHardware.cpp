#include "Platform/Simulated/SimulatedAudioHardware.h"

#include "Platform/PropertyObject.h"
#include "Platform/Simulated/SimulatedClock.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tapwell {
namespace {

class PropertyNumber final : public PropertyObject {
public:
    std::optional<std::string> string() const override { return std::nullopt; }
    std::string description() const override { return "<number 42>"; }
};

template <typename Value>
OSStatus give(Value value, std::uint32_t& ioSize, void* outData) {
    if (ioSize < sizeof(Value)) return kAudioHardwareBadPropertySizeError;
    std::memcpy(outData, &value, sizeof(Value));
    ioSize = sizeof(Value);
    return noErr;
}

OSStatus giveDefault(const std::optional<AudioObjectID>& device, std::uint32_t& ioSize,
                     void* outData) {
    if (!device) return kAudioHardwareUnspecifiedError;
    return give(*device, ioSize, outData);
}

VirtualTime::Duration framesToTime(std::int64_t frames, double rate) {
    return VirtualTime::Duration(std::llround(static_cast<double>(frames) / rate * 1e9));
}

/// The samples of one cycle, all blocks one after the other.
std::vector<std::byte> render(const SimulatedDevice& device, VirtualTime::Duration firstFrame) {
    const AudioFormat& format = device.format;
    const std::uint32_t frames = device.framesPerCycle;
    const std::uint32_t channels = format.channelCount();
    const std::uint32_t bytesPerSample = format.bytesPerSample();
    std::vector<std::byte> data(std::size_t{frames} * channels * bytesPerSample);
    const double start = static_cast<double>(firstFrame.count()) * 1e-9;
    if (!device.isAudible(start)) return data;
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
        const float value = device.signal(start + frame / device.trueHz());
        const auto integer = static_cast<std::int16_t>(std::lround(value * 32767.0F));
        for (std::uint32_t channel = 0; channel < channels; ++channel) {
            const std::size_t index = format.isInterleaved()
                                          ? std::size_t{frame} * channels + channel
                                          : std::size_t{channel} * frames + frame;
            const void* sample = bytesPerSample == 2 ? static_cast<const void*>(&integer)
                                                     : static_cast<const void*>(&value);
            std::memcpy(data.data() + index * bytesPerSample, sample, bytesPerSample);
        }
    }
    return data;
}

}  // namespace

AudioObjectID SimulatedAudioHardware::addDevice(SimulatedDevice device) {
    const AudioObjectID id = nextObject_++;
    devices_.emplace(id, std::move(device));
    return id;
}

void SimulatedAudioHardware::removeDevice(AudioObjectID device) {
    devices_.erase(device);
}

void SimulatedAudioHardware::setDefaultOutput(std::optional<AudioObjectID> device) {
    defaultOutput_ = device;
    notify(kAudioHardwarePropertyDefaultSystemOutputDevice);
    notify(kAudioHardwarePropertyDefaultOutputDevice);
}

void SimulatedAudioHardware::setDefaultInput(std::optional<AudioObjectID> device) {
    defaultInput_ = device;
    notify(kAudioHardwarePropertyDefaultInputDevice);
}

void SimulatedAudioHardware::failNext(const std::string& call, OSStatus status, int times) {
    auto& statuses = failures_[call];
    statuses.insert(statuses.end(), static_cast<std::size_t>(times), status);
}

int SimulatedAudioHardware::countCalls(const std::string& call) const {
    return static_cast<int>(std::count(journal_.begin(), journal_.end(), call));
}

std::size_t SimulatedAudioHardware::runningProcedures() const {
    return static_cast<std::size_t>(
        std::count_if(procedures_.begin(), procedures_.end(),
                      [](const auto& entry) { return entry.second.running; }));
}

void SimulatedAudioHardware::notify(std::uint32_t selector) {
    for (const Listener& listener : listeners_) {
        if (listener.address.selector != selector) continue;
        listener.queue->async([block = listener.block, address = listener.address] {
            (*block)(std::span(&address, 1));
        });
    }
}

void SimulatedAudioHardware::deliverEmptyCycle() {
    for (const auto& [id, procedure] : procedures_) {
        if (!procedure.running) continue;
        procedure.queue->async([block = procedure.block] {
            float nothing = 0;
            const AudioBuffer empty{1, 0, &nothing};
            (*block)(AudioTimeStamp{}, std::span(&empty, 1), AudioTimeStamp{});
        });
    }
}

OSStatus SimulatedAudioHardware::scriptedFailure(const std::string& call) {
    journal_.push_back(call);
    auto& statuses = failures_[call];
    if (statuses.empty()) return noErr;
    const OSStatus status = statuses.front();
    statuses.erase(statuses.begin());
    return status;
}

const SimulatedDevice* SimulatedAudioHardware::sourceOf(AudioObjectID object,
                                                        AudioObjectID* outSource) const {
    const auto aggregate = aggregates_.find(object);
    const AudioObjectID source = aggregate == aggregates_.end() ? object : aggregate->second;
    const auto found = devices_.find(source);
    if (found == devices_.end()) return nullptr;
    if (outSource) *outSource = source;
    return &found->second;
}

OSStatus SimulatedAudioHardware::getPropertyDataSize(AudioObjectID object,
                                                     const AudioObjectPropertyAddress& address,
                                                     std::span<const std::byte> qualifier,
                                                     std::uint32_t& outSize) {
    if (!failures_["getPropertyDataSize"].empty()) return scriptedFailure("getPropertyDataSize");
    std::byte room[64];
    std::uint32_t size = sizeof room;
    const OSStatus status = getPropertyData(object, address, qualifier, size, room);
    if (status != noErr) return status;
    if (address.selector == kAudioDevicePropertyDeviceUID) {
        PropertyObject* value = nullptr;
        std::memcpy(&value, room, sizeof value);
        delete value;
    }
    outSize = size;
    return noErr;
}

OSStatus SimulatedAudioHardware::getPropertyData(AudioObjectID object,
                                                 const AudioObjectPropertyAddress& address,
                                                 std::span<const std::byte> qualifier,
                                                 std::uint32_t& ioSize, void* outData) {
    if (!failures_["getPropertyData"].empty()) return scriptedFailure("getPropertyData");
    if (object == kAudioObjectSystemObject)
        return systemProperty(address.selector, qualifier, ioSize, outData);
    if (const auto tap = taps_.find(object); tap != taps_.end()) {
        if (!failures_["tapFormat"].empty()) return scriptedFailure("tapFormat");
        if (address.selector != kAudioTapPropertyFormat) return kAudioHardwareUnknownPropertyError;
        return give(tap->second.streamDescription(), ioSize, outData);
    }
    const SimulatedDevice* device = sourceOf(object);
    if (!device) return kAudioHardwareBadObjectError;
    return deviceProperty(*device, address.selector, ioSize, outData);
}

OSStatus SimulatedAudioHardware::systemProperty(std::uint32_t selector,
                                                std::span<const std::byte> qualifier,
                                                std::uint32_t& ioSize, void* outData) {
    switch (selector) {
        case kAudioHardwarePropertyDefaultSystemOutputDevice:
        case kAudioHardwarePropertyDefaultOutputDevice:
            return giveDefault(defaultOutput_, ioSize, outData);
        case kAudioHardwarePropertyDefaultInputDevice:
            return giveDefault(defaultInput_, ioSize, outData);
        case kAudioHardwarePropertyTranslatePIDToProcessObject:
            if (qualifier.size() != sizeof(std::int32_t)) return kAudioHardwareBadPropertySizeError;
            return give(processObject_, ioSize, outData);
        default:
            return kAudioHardwareUnknownPropertyError;
    }
}

OSStatus SimulatedAudioHardware::deviceProperty(const SimulatedDevice& device,
                                                std::uint32_t selector, std::uint32_t& ioSize,
                                                void* outData) const {
    switch (selector) {
        case kAudioDevicePropertyDeviceUID: {
            if (ioSize < sizeof(PropertyObject*)) return kAudioHardwareBadPropertySizeError;
            PropertyObject* value = device.uidIsNoString
                                        ? static_cast<PropertyObject*>(new PropertyNumber)
                                        : new PropertyString(device.uid);
            return give(value, ioSize, outData);
        }
        case kAudioDevicePropertyNominalSampleRate:
            if (device.nominalRateUnreadable) return kAudioHardwareUnspecifiedError;
            return give(device.nominalHz(), ioSize, outData);
        case kAudioDevicePropertyActualSampleRate:
            if (device.actualRateUnreadable) return kAudioHardwareUnspecifiedError;
            return give(device.actualHz(), ioSize, outData);
        case kAudioDevicePropertyTransportType:
            return give(device.transportType, ioSize, outData);
        case kAudioStreamPropertyVirtualFormat:
            if (device.streamFormatUnreadable) return kAudioHardwareUnspecifiedError;
            return give(device.format.streamDescription(), ioSize, outData);
        default:
            return kAudioHardwareUnknownPropertyError;
    }
}

OSStatus SimulatedAudioHardware::addPropertyListener(AudioObjectID,
                                                     const AudioObjectPropertyAddress& address,
                                                     const std::shared_ptr<SerialQueue>& queue,
                                                     const AudioPropertyListener& listener) {
    if (const OSStatus status = scriptedFailure("addPropertyListener"); status != noErr)
        return status;
    listeners_.push_back({address, queue, listener});
    return noErr;
}

OSStatus SimulatedAudioHardware::removePropertyListener(AudioObjectID,
                                                        const AudioObjectPropertyAddress& address,
                                                        const std::shared_ptr<SerialQueue>& queue,
                                                        const AudioPropertyListener& listener) {
    if (const OSStatus status = scriptedFailure("removePropertyListener"); status != noErr)
        return status;
    const auto removed = std::erase_if(listeners_, [&](const Listener& entry) {
        return entry.address == address && entry.queue == queue && entry.block == listener;
    });
    return removed == 1 ? noErr : kAudioHardwareIllegalOperationError;
}

OSStatus SimulatedAudioHardware::createProcessTap(const TapDescription& description,
                                                  AudioObjectID& outTap) {
    if (const OSStatus status = scriptedFailure("createProcessTap"); status != noErr) return status;
    const SimulatedDevice* output = defaultOutput_ ? sourceOf(*defaultOutput_) : nullptr;
    if (!output) return kAudioHardwareBadDeviceError;
    outTap = nextObject_++;
    taps_.emplace(outTap, output->format);
    lastTap_ = description;
    return noErr;
}

OSStatus SimulatedAudioHardware::destroyProcessTap(AudioObjectID tap) {
    if (const OSStatus status = scriptedFailure("destroyProcessTap"); status != noErr)
        return status;
    return taps_.erase(tap) == 1 ? noErr : kAudioHardwareBadObjectError;
}

OSStatus SimulatedAudioHardware::createAggregateDevice(const PropertyDictionary& description,
                                                       AudioObjectID& outDevice) {
    if (const OSStatus status = scriptedFailure("createAggregateDevice"); status != noErr)
        return status;
    lastAggregate_ = description;
    const auto& uid =
        std::get<std::string>(description.entries.at(kAudioAggregateDeviceMainSubDeviceKey));
    for (const auto& [id, device] : devices_) {
        if (device.uid != uid) continue;
        outDevice = nextObject_++;
        aggregates_.emplace(outDevice, id);
        return noErr;
    }
    return kAudioHardwareBadDeviceError;
}

OSStatus SimulatedAudioHardware::destroyAggregateDevice(AudioObjectID device) {
    if (const OSStatus status = scriptedFailure("destroyAggregateDevice"); status != noErr)
        return status;
    return aggregates_.erase(device) == 1 ? noErr : kAudioHardwareBadObjectError;
}

OSStatus SimulatedAudioHardware::createIOProcID(AudioIOProcID& outProc, AudioObjectID device,
                                                const std::shared_ptr<SerialQueue>& queue,
                                                AudioIOBlock block) {
    if (const OSStatus status = scriptedFailure("createIOProcID"); status != noErr) return status;
    Procedure procedure;
    if (!sourceOf(device, &procedure.source)) return kAudioHardwareBadDeviceError;
    procedure.queue = queue;
    procedure.block = std::make_shared<AudioIOBlock>(std::move(block));
    outProc = nextProc_++;
    procedures_.emplace(outProc, std::move(procedure));
    return noErr;
}

OSStatus SimulatedAudioHardware::destroyIOProcID(AudioObjectID, AudioIOProcID proc) {
    if (const OSStatus status = scriptedFailure("destroyIOProcID"); status != noErr) return status;
    return procedures_.erase(proc) == 1 ? noErr : kAudioHardwareBadObjectError;
}

OSStatus SimulatedAudioHardware::startDevice(AudioObjectID, AudioIOProcID proc) {
    if (const OSStatus status = scriptedFailure("startDevice"); status != noErr) return status;
    const auto found = procedures_.find(proc);
    if (found == procedures_.end()) return kAudioHardwareBadObjectError;
    const auto device = devices_.find(found->second.source);
    if (device == devices_.end()) return kAudioHardwareBadDeviceError;
    found->second.running = true;
    found->second.nextCycle = 0;
    found->second.firstFrame = time_.now() + device->second.startLatency;
    if (!device->second.deliversNothing) scheduleCycle(proc);
    return noErr;
}

OSStatus SimulatedAudioHardware::stopDevice(AudioObjectID, AudioIOProcID proc) {
    if (const OSStatus status = scriptedFailure("stopDevice"); status != noErr) return status;
    const auto found = procedures_.find(proc);
    if (found == procedures_.end()) return kAudioHardwareBadObjectError;
    found->second.running = false;
    return noErr;
}

/// A cycle is delivered when its last frame has been captured.
void SimulatedAudioHardware::scheduleCycle(AudioIOProcID proc) {
    const Procedure& procedure = procedures_.at(proc);
    const SimulatedDevice& device = devices_.at(procedure.source);
    const std::int64_t framesBefore = (procedure.nextCycle + 1) * device.framesPerCycle;
    const auto due = procedure.firstFrame + framesToTime(framesBefore, device.trueHz());
    time_.schedule(due - time_.now(), [this, proc] { deliverCycle(proc); });
}

void SimulatedAudioHardware::deliverCycle(AudioIOProcID proc) {
    const auto found = procedures_.find(proc);
    if (found == procedures_.end() || !found->second.running) return;
    Procedure& procedure = found->second;
    const auto entry = devices_.find(procedure.source);
    if (entry == devices_.end()) return;
    const SimulatedDevice& device = entry->second;

    const std::int64_t cycle = procedure.nextCycle++;
    if (!device.losesCycle(cycle)) {
        const std::int64_t firstIndex = cycle * device.framesPerCycle;
        const auto captured = procedure.firstFrame + framesToTime(firstIndex, device.trueHz());
        AudioTimeStamp stamp;
        stamp.sampleTime = static_cast<double>(firstIndex);
        stamp.hostTime = SimulatedClock::ticksAt(captured);
        stamp.flags = (device.stampsHostTime ? AudioTimeStamp::kHostTimeValid : 0U) |
                      (device.stampsSampleTime ? AudioTimeStamp::kSampleTimeValid : 0U);
        procedure.queue->async([block = procedure.block, format = device.format,
                                data = render(device, captured), stamp]() mutable {
            const std::size_t blockSize = data.size() / format.bufferCount();
            std::vector<AudioBuffer> blocks(format.bufferCount());
            for (std::size_t i = 0; i < blocks.size(); ++i)
                blocks[i] = {format.isInterleaved() ? format.channelCount() : 1,
                             static_cast<std::uint32_t>(blockSize), data.data() + i * blockSize};
            (*block)(stamp, blocks, stamp);
        });
    }
    scheduleCycle(proc);
}

}  // namespace tapwell
