#include "Tapwell/Capture/CoreAudioRecordingUtils.h"

#include "Platform/PropertyObject.h"
#include "Tapwell/Capture/RecorderCoreAudioError.h"

#include <memory>

namespace tapwell {
namespace {

AudioObjectPropertyAddress mainElement(std::uint32_t selector,
                                       std::uint32_t scope = kAudioObjectPropertyScopeGlobal) {
    return {selector, scope, kAudioObjectPropertyElementMain};
}

/// Reads a property of a fixed size; `value` is meaningful when the status is noErr.
template <typename Value>
OSStatus read(AudioHardware& hardware, AudioObjectID object,
              const AudioObjectPropertyAddress& address, Value& value,
              std::span<const std::byte> qualifier = {}) {
    std::uint32_t size = sizeof(Value);
    return hardware.getPropertyData(object, address, qualifier, size, &value);
}

template <typename Value>
std::optional<Value> readOptional(AudioHardware& hardware, AudioObjectID object,
                                  const AudioObjectPropertyAddress& address) {
    Value value{};
    if (read(hardware, object, address, value) != noErr) return std::nullopt;
    return value;
}

}  // namespace

std::optional<AudioObjectID> recorderDefaultSystemOutputDeviceObjectID(AudioHardware& hardware) {
    return readOptional<AudioObjectID>(
        hardware, kAudioObjectSystemObject,
        mainElement(kAudioHardwarePropertyDefaultSystemOutputDevice));
}

std::optional<AudioObjectID> recorderDefaultInputDeviceObjectID(AudioHardware& hardware) {
    return readOptional<AudioObjectID>(hardware, kAudioObjectSystemObject,
                                       mainElement(kAudioHardwarePropertyDefaultInputDevice));
}

std::optional<double> recorderActualSampleRate(AudioHardware& hardware, AudioObjectID device) {
    return readOptional<double>(hardware, device,
                                mainElement(kAudioDevicePropertyActualSampleRate));
}

std::optional<double> recorderNominalSampleRate(AudioHardware& hardware, AudioObjectID device) {
    return readOptional<double>(hardware, device,
                                mainElement(kAudioDevicePropertyNominalSampleRate));
}

std::optional<std::uint32_t> recorderTransportType(AudioHardware& hardware, AudioObjectID device) {
    return readOptional<std::uint32_t>(hardware, device,
                                       mainElement(kAudioDevicePropertyTransportType));
}

std::optional<AudioStreamBasicDescription> recorderVirtualInputStreamFormat(AudioHardware& hardware,
                                                                            AudioObjectID device) {
    return readOptional<AudioStreamBasicDescription>(
        hardware, device,
        mainElement(kAudioStreamPropertyVirtualFormat, kAudioObjectPropertyScopeInput));
}

AudioStreamBasicDescription recorderTapStreamBasicDescription(AudioHardware& hardware,
                                                              AudioObjectID tap) {
    AudioStreamBasicDescription format;
    const OSStatus status = read(hardware, tap, mainElement(kAudioTapPropertyFormat), format);
    if (status != noErr)
        throw RecorderCoreAudioError::wrapped("tap asbd " + std::to_string(status));
    return format;
}

AudioObjectID recorderTranslate(AudioHardware& hardware, std::int32_t pid) {
    AudioObjectID process = kAudioObjectUnknown;
    const OSStatus status = read(hardware, kAudioObjectSystemObject,
                                 mainElement(kAudioHardwarePropertyTranslatePIDToProcessObject),
                                 process, std::as_bytes(std::span(&pid, 1)));
    if (status != noErr || process == kAudioObjectUnknown)
        throw RecorderCoreAudioError::wrapped("pid translate " + std::to_string(status) +
                                              " pid=" + std::to_string(pid));
    return process;
}

std::string recorderReadCFStringDeviceProperty(AudioHardware& hardware, AudioObjectID objectID,
                                               std::uint32_t selector) {
    const AudioObjectPropertyAddress address = mainElement(selector);
    std::uint32_t size = 0;
    OSStatus status = hardware.getPropertyDataSize(objectID, address, {}, size);
    if (status != noErr)
        throw RecorderCoreAudioError::wrapped("cf str size " + std::to_string(status));

    PropertyObject* slot = nullptr;
    status = read(hardware, objectID, address, slot);
    const std::unique_ptr<PropertyObject> object(slot);
    if (status != noErr || !object)
        throw RecorderCoreAudioError::wrapped("cf str data " + std::to_string(status));

    const std::optional<std::string> text = object->string();
    if (!text)
        throw RecorderCoreAudioError::wrapped("cf str not NSString: " + object->description());
    return *text;
}

}  // namespace tapwell
