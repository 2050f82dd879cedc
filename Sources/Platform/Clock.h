#pragma once

#include <chrono>
#include <cstdint>

namespace tapwell {

/// Host time and the date. Any thread, real-time safe.
class Clock {
public:
    /// Nanoseconds of one host tick, as a fraction.
    struct Timebase {
        std::uint32_t numerator = 1;
        std::uint32_t denominator = 1;
    };
    /// Time since a fixed moment; never steps back while the process lives.
    using Date = std::chrono::nanoseconds;

    virtual ~Clock() = default;

    /// The monotonic clock that audio time stamps are given in.
    virtual std::uint64_t hostTicks() const = 0;
    virtual Timebase timebase() const = 0;
    virtual Date now() const = 0;

    /// Host ticks as seconds.
    double hostSeconds(std::uint64_t ticks) const {
        const Timebase base = timebase();
        return static_cast<double>(ticks) * base.numerator / base.denominator / 1e9;
    }
};

}  // namespace tapwell
