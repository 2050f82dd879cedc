#pragma once

#include "Platform/AudioHardware.h"
#include "Platform/AudioStreamBasicDescription.h"

#include <optional>
#include <string>

namespace tapwell::test {

/// Reads properties of an audio hardware the way the recorder does.
class HardwareReader {
public:
    explicit HardwareReader(AudioHardware& hardware) : hardware_(hardware) {}

    OSStatus status(AudioObjectID object, std::uint32_t selector) const;
    /// Absent when the read fails.
    std::optional<std::uint32_t> word(AudioObjectID object, std::uint32_t selector) const;
    std::optional<double> number(AudioObjectID object, std::uint32_t selector) const;
    std::optional<std::string> text(AudioObjectID object, std::uint32_t selector) const;
    std::optional<AudioStreamBasicDescription> format(AudioObjectID object,
                                                      std::uint32_t selector) const;
    std::optional<std::uint32_t> processObject(std::int32_t pid) const;

    AudioObjectID defaultSink() const;
    AudioObjectID defaultSource() const;
    std::string defaultSinkName() const;

    /// The tap format has global scope, the input format input scope.
    static AudioObjectPropertyAddress address(std::uint32_t selector);

private:
    template <typename Value>
    std::optional<Value> read(AudioObjectID object, std::uint32_t selector) const;

    AudioHardware& hardware_;
};

}  // namespace tapwell::test
