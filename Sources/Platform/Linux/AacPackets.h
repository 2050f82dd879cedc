#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tapwell {

/// A run of AAC packets in memory.
class AacPackets {
public:
    void append(std::span<const std::byte> packet) {
        bytes_.insert(bytes_.end(), packet.begin(), packet.end());
        sizes_.push_back(static_cast<std::uint16_t>(packet.size()));
    }

    /// Calls `sink` with each packet in order; the bytes are valid during the call.
    template <typename Sink>
    void forEach(const Sink& sink) const {
        std::span<const std::byte> rest(bytes_);
        for (const std::uint16_t size : sizes_) {
            sink(rest.first(size));
            rest = rest.subspan(size);
        }
    }

private:
    std::vector<std::byte> bytes_;
    std::vector<std::uint16_t> sizes_;
};

}  // namespace tapwell
