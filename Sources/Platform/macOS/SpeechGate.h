#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

namespace tapwell {

/// Lets callbacks of the system through, one at a time, until the engines close it. Any thread.
class SpeechGate {
public:
    /// Calls `callback` unless the gate is closed.
    template <typename Callback>
    void pass(const Callback& callback) {
        const std::lock_guard hold(lock_);
        if (isOpen_) callback();
    }

    /// Waits for a callback on another thread; may itself be called from within one.
    void close() {
        const std::lock_guard hold(lock_);
        isOpen_ = false;
    }

private:
    std::recursive_mutex lock_;
    bool isOpen_ = true;  ///< guarded by lock_
};

/// What a callback of one task, transcriber or analyzer must pass: the gate of the engines, and its
/// own object's being there. Copies share both.
class SpeechGates {
public:
    explicit SpeechGates(std::shared_ptr<SpeechGate> engines) : engines_(std::move(engines)) {}

    template <typename Callback>
    void pass(const Callback& callback) const {
        engines_->pass([&] {
            if (!*isReleased_) callback();
        });
    }

    /// No callback begins from now on. Waits for none, since the caller may hold a lock that the
    /// callback wants.
    void release() const { *isReleased_ = true; }

private:
    std::shared_ptr<SpeechGate> engines_;
    std::shared_ptr<std::atomic<bool>> isReleased_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace tapwell
