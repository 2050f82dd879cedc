#include "Platform/Linux/PropertyValue.h"

#include "Platform/PropertyObject.h"

#include <cstring>
#include <type_traits>

namespace tapwell {

std::uint32_t PropertyValue::size() const {
    return std::visit(
        [](const auto& value) -> std::uint32_t {
            using Value = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Value, std::string>)
                return sizeof(PropertyObject*);
            else
                return sizeof(Value);
        },
        content_);
}

OSStatus PropertyValue::write(std::uint32_t& ioSize, void* data) const {
    if (ioSize < size()) return kAudioHardwareBadPropertySizeError;
    ioSize = size();
    std::visit(
        [data](const auto& value) {
            using Value = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Value, std::string>) {
                PropertyObject* object = new PropertyString(value);
                std::memcpy(data, &object, sizeof object);
            } else {
                std::memcpy(data, &value, sizeof value);
            }
        },
        content_);
    return noErr;
}

}  // namespace tapwell
