#pragma once

#include "Platform/Clock.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace tapwell::test {

/// A clock whose time passes only when a test says so.
class ManualClock final : public Clock {
public:
    void advance(double seconds) { ticks_ += static_cast<std::uint64_t>(seconds * 1e9); }

    std::uint64_t hostTicks() const override { return ticks_; }
    Timebase timebase() const override { return {}; }
    Date now() const override {
        return std::chrono::nanoseconds(static_cast<std::int64_t>(hostTicks()));
    }

private:
    std::atomic<std::uint64_t> ticks_{1'000'000'000};
};

}  // namespace tapwell::test
