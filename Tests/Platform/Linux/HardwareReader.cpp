#include "HardwareReader.h"

#include "Platform/PropertyObject.h"

#include <array>
#include <memory>

namespace tapwell::test {

AudioObjectPropertyAddress HardwareReader::address(std::uint32_t selector) {
    const bool isInput = selector == kAudioStreamPropertyVirtualFormat;
    return {selector, isInput ? kAudioObjectPropertyScopeInput : kAudioObjectPropertyScopeGlobal,
            kAudioObjectPropertyElementMain};
}

template <typename Value>
std::optional<Value> HardwareReader::read(AudioObjectID object, std::uint32_t selector) const {
    std::uint32_t size = 0;
    if (hardware_.getPropertyDataSize(object, address(selector), {}, size) != noErr ||
        size != sizeof(Value))
        return std::nullopt;
    Value value{};
    if (hardware_.getPropertyData(object, address(selector), {}, size, &value) != noErr ||
        size != sizeof(Value))
        return std::nullopt;
    return value;
}

OSStatus HardwareReader::status(AudioObjectID object, std::uint32_t selector) const {
    std::uint32_t size = 0;
    return hardware_.getPropertyDataSize(object, address(selector), {}, size);
}

std::optional<std::uint32_t> HardwareReader::word(AudioObjectID object,
                                                  std::uint32_t selector) const {
    return read<std::uint32_t>(object, selector);
}

std::optional<double> HardwareReader::number(AudioObjectID object, std::uint32_t selector) const {
    return read<double>(object, selector);
}

std::optional<std::string> HardwareReader::text(AudioObjectID object,
                                                std::uint32_t selector) const {
    const auto slot = read<PropertyObject*>(object, selector);
    if (!slot) return std::nullopt;
    const std::unique_ptr<PropertyObject> owned(*slot);
    return owned->string();
}

std::optional<AudioStreamBasicDescription> HardwareReader::format(AudioObjectID object,
                                                                  std::uint32_t selector) const {
    return read<AudioStreamBasicDescription>(object, selector);
}

std::optional<std::uint32_t> HardwareReader::processObject(std::int32_t pid) const {
    std::uint32_t object = 0;
    std::uint32_t size = sizeof object;
    const OSStatus status = hardware_.getPropertyData(
        kAudioObjectSystemObject, address(kAudioHardwarePropertyTranslatePIDToProcessObject),
        std::as_bytes(std::span(&pid, 1)), size, &object);
    return status == noErr ? std::optional(object) : std::nullopt;
}

AudioObjectID HardwareReader::defaultSink() const {
    return word(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultSystemOutputDevice)
        .value_or(kAudioObjectUnknown);
}

AudioObjectID HardwareReader::defaultSource() const {
    return word(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultInputDevice)
        .value_or(kAudioObjectUnknown);
}

std::string HardwareReader::defaultSinkName() const {
    return text(defaultSink(), kAudioDevicePropertyDeviceUID).value_or("");
}

}  // namespace tapwell::test
