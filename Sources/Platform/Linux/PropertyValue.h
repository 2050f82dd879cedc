#pragma once

#include "Platform/AudioStreamBasicDescription.h"
#include "Platform/OSStatus.h"

#include <cstdint>
#include <string>
#include <variant>

namespace tapwell {

/// The value of an audio object's property, before it is written to a caller's memory.
class PropertyValue {
public:
    using Content = std::variant<std::uint32_t, double, AudioStreamBasicDescription, std::string>;

    PropertyValue(Content content) : content_(std::move(content)) {}

    /// Bytes that it takes; text travels as a pointer to a PropertyObject.
    std::uint32_t size() const;

    /// Writes to `data`, whose room `ioSize` becomes the size written. The caller owns an object
    /// that was written.
    OSStatus write(std::uint32_t& ioSize, void* data) const;

    friend bool operator==(const PropertyValue&, const PropertyValue&) = default;

private:
    Content content_;
};

}  // namespace tapwell
