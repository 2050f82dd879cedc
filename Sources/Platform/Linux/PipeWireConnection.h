#pragma once

#include "Platform/Linux/AudioObjectIds.h"
#include "Platform/Linux/PipeWireRegistry.h"

#include <pipewire/pipewire.h>

#include <chrono>
#include <functional>
#include <memory>

namespace tapwell {

/// The connection to the audio server with its two threads: the loop's, which receives everything
/// the server tells, and the real-time one, which the library runs for streams. Made at the first
/// need, lost with the server, and made again at need or in the background.
///
/// Except where noted, every member is used with the loop's lock held: take a `Lock` first. The
/// handlers are called on the loop's thread, or on the thread of a call that finds the connection
/// lost; always with the lock held, so they must not wait for anything.
class PipeWireConnection {
public:
    struct Handlers {
        std::function<void()> changed;  ///< anything that the registry tells; also when ready
        std::function<void()> willDisconnect;  ///< streams must be destroyed now
        std::function<void()> woken;           ///< after `wake`, on the loop's thread
    };

    /// Holds the loop's lock. May be nested on one thread.
    class Lock {
    public:
        explicit Lock(const PipeWireConnection& connection) : loop_(connection.loop_) {
            pw_thread_loop_lock(loop_);
        }
        ~Lock() { pw_thread_loop_unlock(loop_); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pw_thread_loop* loop_;
    };

    /// Connects to nothing yet and starts no thread.
    explicit PipeWireConnection(Handlers handlers);
    /// Without the lock. Calls `willDisconnect` if there is a connection.
    ~PipeWireConnection();
    PipeWireConnection(const PipeWireConnection&) = delete;
    PipeWireConnection& operator=(const PipeWireConnection&) = delete;

    /// Connects if need be, and waits, with the lock released meanwhile, until everything about the
    /// server is known. False after 1 s, or at once when there is no server. A server that did not
    /// answer in time is left alone for a while, during which this fails at once.
    bool ensureReady();

    /// Whether to connect again in the background after the server was lost or not found.
    void setReconnects(bool reconnects);

    /// Null unless the last `ensureReady` succeeded, and after the connection is lost.
    const PipeWireRegistry* registry() const { return isReady() ? registry_.get() : nullptr; }
    pw_core* core() const { return core_; }

    /// The ids of all objects of this process, whoever makes them.
    AudioObjectIds& objectIds() { return objectIds_; }

    /// Whether the server refused this process at the last attempt.
    bool isAccessRefused() const { return isAccessRefused_; }

    /// Any thread, the real-time one included, and without the lock, while connected.
    void wake() { pw_loop_signal_event(pw_thread_loop_get_loop(loop_), wakeEvent_); }

private:
    using Clock = std::chrono::steady_clock;
    enum class State { disconnected, awaitingGlobals, awaitingDetails, ready, lost };

    bool isReady() const { return state_ == State::ready; }
    bool isConnecting() const {
        return state_ == State::awaitingGlobals || state_ == State::awaitingDetails;
    }
    bool start();
    bool connect();
    void noteFailure(int error);
    void disconnect();
    void giveUp();
    void advance();
    void registryChanged();
    bool waitUntil(Clock::time_point deadline) const;
    void setTimer(std::chrono::nanoseconds delay);
    void onTimer();
    static void onDone(void* self, std::uint32_t id, int sequence);
    static void onError(void* self, std::uint32_t id, int sequence, int result,
                        const char* message);

    Handlers handlers_;
    AudioObjectIds objectIds_;
    pw_thread_loop* loop_;
    spa_source* wakeEvent_ = nullptr;
    spa_source* timer_ = nullptr;
    pw_context* context_ = nullptr;  ///< made at the first need, kept over connections
    pw_core* core_ = nullptr;
    spa_hook coreHook_{};
    std::unique_ptr<PipeWireRegistry> registry_;
    State state_ = State::disconnected;
    int pendingSync_ = 0;
    std::uint64_t attempt_ = 0;
    Clock::time_point attemptDeadline_{};
    Clock::time_point muteUntil_{};  ///< no attempt before, because the server did not answer
    bool reconnects_ = false;
    bool isAccessRefused_ = false;
};

}  // namespace tapwell
