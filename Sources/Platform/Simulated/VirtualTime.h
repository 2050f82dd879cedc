#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>

namespace tapwell {

/// Time that passes only when a test lets it. Everything of a simulated host runs on the test's
/// one thread, in the order of the moments it was scheduled for, and first come first served
/// within a moment. Not synchronised.
class VirtualTime {
public:
    using Duration = std::chrono::nanoseconds;

    /// Since the simulation began.
    Duration now() const { return now_; }

    /// Runs `work` once `delay` (at least 0) has passed.
    void schedule(Duration delay, std::function<void()> work);

    /// Lets `duration` pass and runs what is due within it, work due at its very end included.
    void advance(Duration duration);

    /// Runs everything that is due now, without letting time pass.
    void settle() { advance(Duration::zero()); }

    /// Lets time pass until `done` holds, for at most `timeout` (no limit when absent). Returns
    /// whether it holds. Throws std::logic_error when nothing is left that could make it true and
    /// there is no limit: a real program would hang.
    bool waitUntil(const std::function<bool()>& done, std::optional<Duration> timeout);

private:
    struct Moment {
        Duration time;
        std::uint64_t order;
        auto operator<=>(const Moment&) const = default;
    };
    /// Runs the earliest work due at or before `limit`; false when there is none.
    bool runNext(Duration limit);

    Duration now_{0};
    std::uint64_t nextOrder_ = 0;
    std::map<Moment, std::function<void()>> scheduled_;
};

}  // namespace tapwell
