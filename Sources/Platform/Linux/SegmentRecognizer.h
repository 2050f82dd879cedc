#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string>

namespace tapwell {

/// The thorough half of recognition: hears a whole segment at once. One thread at a time.
class SegmentRecognizer {
public:
    virtual ~SegmentRecognizer() = default;

    /// The words of mono samples at 16 kHz; empty when there are none. May take longer than the
    /// audio lasts. Where the engine can be interrupted, it gives up soon after `cancelled` is set.
    virtual std::string recognize(std::span<const std::int16_t> samples,
                                  const std::atomic<bool>& cancelled) = 0;
};

}  // namespace tapwell
