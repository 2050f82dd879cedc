#include "Platform/Linux/PipeWireObjectModel.h"

#include <unistd.h>

#include <cstring>

namespace tapwell {
namespace {

constexpr std::uint32_t kTransportTypeAggregate = fourCharCode("grup");

AudioStreamBasicDescription formatOf(const CaptureTarget& target) {
    AudioStreamBasicDescription format;
    format.sampleRate = target.sampleRate;
    format.formatID = kAudioFormatLinearPCM;
    format.formatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
    format.channelsPerFrame = target.channelCount();
    format.bitsPerChannel = 8 * sizeof(float);
    format.bytesPerFrame = target.channelCount() * static_cast<std::uint32_t>(sizeof(float));
    format.framesPerPacket = 1;
    format.bytesPerPacket = format.bytesPerFrame;
    return format;
}

template <typename Value>
const Value* entry(const PropertyDictionary& dictionary, const char* key) {
    const auto found = dictionary.entries.find(key);
    return found == dictionary.entries.end() ? nullptr : std::get_if<Value>(&found->second);
}

std::string textEntry(const PropertyDictionary& dictionary, const char* key) {
    const auto* text = entry<std::string>(dictionary, key);
    return text != nullptr ? *text : std::string();
}

PipeWireObjectModel::Reading deviceOrNone(const PipeWireNode* node) {
    if (node == nullptr) return kAudioHardwareUnspecifiedError;
    return PropertyValue(node->identity().objectId);
}

}  // namespace

PipeWireObjectModel::Reading PipeWireObjectModel::read(AudioObjectID object,
                                                       const AudioObjectPropertyAddress& address,
                                                       std::span<const std::byte> qualifier) {
    const PipeWireRegistry* registry = connection_.registry();
    if (registry == nullptr) return kAudioHardwareNotRunningError;
    if (object == kAudioObjectSystemObject) return readSystem(address, qualifier);
    if (const PipeWireNode* node = registry->nodeWithObject(object))
        return readDevice(*node, address);
    if (taps_.contains(object)) return readTap(object, address);
    const auto aggregate = aggregates_.find(object);
    if (aggregate != aggregates_.end()) return readAggregate(aggregate->second, address);
    if (object != kAudioObjectUnknown && object == ownProcess_)
        return kAudioHardwareUnknownPropertyError;
    return kAudioHardwareBadObjectError;
}

PipeWireObjectModel::Reading PipeWireObjectModel::readSystem(
    const AudioObjectPropertyAddress& address, std::span<const std::byte> qualifier) {
    switch (address.selector) {
        case kAudioHardwarePropertyDefaultSystemOutputDevice:
        case kAudioHardwarePropertyDefaultOutputDevice:
            return deviceOrNone(connection_.registry()->defaultSink());
        case kAudioHardwarePropertyDefaultInputDevice:
            return deviceOrNone(connection_.registry()->defaultSource());
        case kAudioHardwarePropertyTranslatePIDToProcessObject:
            return readProcessOf(qualifier);
        default:
            return kAudioHardwareUnknownPropertyError;
    }
}

PipeWireObjectModel::Reading PipeWireObjectModel::readProcessOf(
    std::span<const std::byte> qualifier) {
    std::int32_t pid = 0;
    if (qualifier.size() != sizeof pid) return kAudioHardwareBadPropertySizeError;
    std::memcpy(&pid, qualifier.data(), sizeof pid);
    if (pid != getpid()) return PropertyValue(kAudioObjectUnknown);
    if (ownProcess_ == kAudioObjectUnknown) ownProcess_ = connection_.objectIds().next();
    return PropertyValue(ownProcess_);
}

PipeWireObjectModel::Reading PipeWireObjectModel::readDevice(
    const PipeWireNode& node, const AudioObjectPropertyAddress& address) const {
    const double graphRate = connection_.registry()->graphRate();
    switch (address.selector) {
        case kAudioDevicePropertyDeviceUID:
            return PropertyValue(node.identity().name);
        case kAudioDevicePropertyNominalSampleRate:
            return PropertyValue(node.ownRate(graphRate));
        case kAudioDevicePropertyActualSampleRate:
            return PropertyValue(graphRate);
        case kAudioDevicePropertyTransportType:
            return PropertyValue(node.transportType());
        case kAudioStreamPropertyVirtualFormat:
            if (!node.isSource() || address.scope != kAudioObjectPropertyScopeInput)
                return kAudioHardwareUnknownPropertyError;
            return PropertyValue(formatOf(targetOn(node)));
        default:
            return kAudioHardwareUnknownPropertyError;
    }
}

PipeWireObjectModel::Reading PipeWireObjectModel::readTap(
    AudioObjectID tap, const AudioObjectPropertyAddress& address) const {
    if (address.selector != kAudioTapPropertyFormat) return kAudioHardwareUnknownPropertyError;
    const PipeWireNode* sink = sinkOfTap(tap);
    if (sink == nullptr) return kAudioHardwareUnspecifiedError;
    return PropertyValue(formatOf(targetOn(*sink)));
}

PipeWireObjectModel::Reading PipeWireObjectModel::readAggregate(
    const Aggregate& aggregate, const AudioObjectPropertyAddress& address) const {
    if (address.selector == kAudioDevicePropertyDeviceUID) return PropertyValue(aggregate.uid);
    if (address.selector == kAudioDevicePropertyTransportType)
        return PropertyValue(kTransportTypeAggregate);
    const PipeWireNode* sink = sinkOfAggregate(aggregate);
    if (sink == nullptr) return kAudioHardwareBadDeviceError;
    const AudioStreamBasicDescription format = formatOf(targetOn(*sink));
    switch (address.selector) {
        case kAudioDevicePropertyNominalSampleRate:
        case kAudioDevicePropertyActualSampleRate:
            return PropertyValue(format.sampleRate);
        case kAudioStreamPropertyVirtualFormat:
            if (address.scope != kAudioObjectPropertyScopeInput)
                return kAudioHardwareUnknownPropertyError;
            return PropertyValue(format);
        default:
            return kAudioHardwareUnknownPropertyError;
    }
}

OSStatus PipeWireObjectModel::createTap(const TapDescription& description, AudioObjectID& outTap) {
    if (description.muteBehavior != TapDescription::MuteBehavior::unmuted)
        return kAudioHardwareIllegalOperationError;
    for (const AudioObjectID process : description.excludedProcesses) {
        if (process != ownProcess_ && process != kAudioObjectUnknown)
            return kAudioHardwareIllegalOperationError;
    }
    outTap = connection_.objectIds().next();
    taps_.emplace(outTap, description);
    return noErr;
}

OSStatus PipeWireObjectModel::destroyTap(AudioObjectID tap) {
    return taps_.erase(tap) > 0 ? noErr : kAudioHardwareBadObjectError;
}

AudioObjectID PipeWireObjectModel::tapNamedIn(const PropertyDictionary& aggregate) const {
    using List = std::vector<PropertyDictionary>;
    const auto* list = entry<List>(aggregate, kAudioAggregateDeviceTapListKey);
    if (list == nullptr || list->size() != 1) return kAudioObjectUnknown;
    const std::string uid = textEntry(list->front(), kAudioSubTapUIDKey);
    for (const auto& [id, description] : taps_) {
        if (description.uuid == uid) return id;
    }
    return kAudioObjectUnknown;
}

OSStatus PipeWireObjectModel::createAggregate(const PropertyDictionary& description,
                                              AudioObjectID& outDevice) {
    Aggregate aggregate;
    aggregate.uid = textEntry(description, kAudioAggregateDeviceUIDKey);
    aggregate.mainDeviceUid = textEntry(description, kAudioAggregateDeviceMainSubDeviceKey);
    aggregate.tap = tapNamedIn(description);
    if (aggregate.tap == kAudioObjectUnknown) return kAudioHardwareBadObjectError;
    if (sinkOfAggregate(aggregate) == nullptr) return kAudioHardwareBadDeviceError;
    outDevice = connection_.objectIds().next();
    aggregates_.emplace(outDevice, std::move(aggregate));
    return noErr;
}

OSStatus PipeWireObjectModel::destroyAggregate(AudioObjectID device) {
    return aggregates_.erase(device) > 0 ? noErr : kAudioHardwareBadObjectError;
}

const PipeWireNode* PipeWireObjectModel::sinkOfAggregate(const Aggregate& aggregate) const {
    const PipeWireRegistry* registry = connection_.registry();
    if (registry == nullptr) return nullptr;
    const PipeWireNode* node = registry->nodeNamed(aggregate.mainDeviceUid);
    return node != nullptr && node->isSink() ? node : nullptr;
}

/// A tap delivers what its aggregate's sink plays, and before it is in one, the default sink.
const PipeWireNode* PipeWireObjectModel::sinkOfTap(AudioObjectID tap) const {
    for (const auto& [id, aggregate] : aggregates_) {
        if (aggregate.tap == tap) return sinkOfAggregate(aggregate);
    }
    return connection_.registry()->defaultSink();
}

CaptureTarget PipeWireObjectModel::targetOn(const PipeWireNode& node) const {
    CaptureTarget target;
    target.nodeSerial = node.identity().serial;
    target.nodeGlobalId = node.identity().globalId;
    target.isMonitor = node.isSink();
    target.passesOn = node.isSink() || node.isNullSink();
    target.sampleRate = static_cast<std::uint32_t>(connection_.registry()->graphRate());
    target.channelPositions = node.channelPositions();
    return target;
}

OSStatus PipeWireObjectModel::captureTarget(AudioObjectID device, CaptureTarget& outTarget) const {
    const PipeWireRegistry* registry = connection_.registry();
    if (registry == nullptr) return kAudioHardwareNotRunningError;
    const PipeWireNode* node = registry->nodeWithObject(device);
    const auto aggregate = aggregates_.find(device);
    if (aggregate != aggregates_.end())
        node = sinkOfAggregate(aggregate->second);
    else if (node != nullptr && !node->isSource())
        return kAudioHardwareIllegalOperationError;
    if (node == nullptr) return kAudioHardwareBadDeviceError;
    outTarget = targetOn(*node);
    return noErr;
}

bool PipeWireObjectModel::isPresent(const CaptureTarget& target) const {
    const PipeWireRegistry* registry = connection_.registry();
    return registry != nullptr && registry->hasNode(target.nodeSerial);
}

}  // namespace tapwell
