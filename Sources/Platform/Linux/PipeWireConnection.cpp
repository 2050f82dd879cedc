#include "Platform/Linux/PipeWireConnection.h"

#include "Platform/Linux/PipeWireSocketAccess.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace tapwell {
namespace {

using namespace std::chrono_literals;

constexpr auto kAnswerLimit = 1s;
constexpr auto kReconnectInterval = 500ms;
constexpr auto kDefaultsInterval = 200ms;
constexpr auto kMuteServerRest = 2s;

/// Never undone: what the library keeps until the end of the process is little, and unloading its
/// plug-ins at exit would pull the ground from under threads that still run.
void initializeLibrary() {
    static const bool isInitialized = [] {
        pw_init(nullptr, nullptr);
        // Standard error is the program's own; whoever debugs the library asks for its messages.
        if (std::getenv("PIPEWIRE_DEBUG") == nullptr) pw_log_set_level(SPA_LOG_LEVEL_NONE);
        return true;
    }();
    (void)isInitialized;
}

bool isRefusal(int error) {
    return error == EACCES || error == EPERM;
}

}  // namespace

PipeWireConnection::PipeWireConnection(Handlers handlers) : handlers_(std::move(handlers)) {
    initializeLibrary();
    loop_ = pw_thread_loop_new("tapwell-pw", nullptr);
    pw_loop* loop = pw_thread_loop_get_loop(loop_);
    wakeEvent_ = pw_loop_add_event(
        loop,
        [](void* self, std::uint64_t) {
            static_cast<PipeWireConnection*>(self)->handlers_.woken();
        },
        this);
    timer_ = pw_loop_add_timer(
        loop, [](void* self, std::uint64_t) { static_cast<PipeWireConnection*>(self)->onTimer(); },
        this);
}

PipeWireConnection::~PipeWireConnection() {
    {
        const Lock lock(*this);
        disconnect();
    }
    pw_thread_loop_stop(loop_);
    if (context_ != nullptr) pw_context_destroy(context_);
    pw_loop* loop = pw_thread_loop_get_loop(loop_);
    pw_loop_destroy_source(loop, timer_);
    pw_loop_destroy_source(loop, wakeEvent_);
    pw_thread_loop_destroy(loop_);
}

bool PipeWireConnection::ensureReady() {
    if (state_ == State::lost) disconnect();
    if (isReady()) return true;
    if (!isConnecting() && !connect()) {
        if (reconnects_) setTimer(kReconnectInterval);
        return false;
    }
    const std::uint64_t attempt = attempt_;
    while (isConnecting() && attempt == attempt_) {
        if (waitUntil(attemptDeadline_)) continue;
        if (isConnecting() && attempt == attempt_) giveUp();
    }
    return isReady();
}

bool PipeWireConnection::waitUntil(Clock::time_point deadline) const {
    const auto left = std::chrono::nanoseconds(deadline - Clock::now()).count();
    timespec end{};
    if (left <= 0 || pw_thread_loop_get_time(loop_, &end, left) < 0) return false;
    return pw_thread_loop_timed_wait_full(loop_, &end) == 0;
}

void PipeWireConnection::setReconnects(bool reconnects) {
    reconnects_ = reconnects;
    if (reconnects_ && state_ == State::disconnected) setTimer(kReconnectInterval);
}

bool PipeWireConnection::start() {
    if (context_ != nullptr) return true;
    // The configuration that asks for a real-time data thread.
    pw_properties* properties = pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf",
                                                  PW_KEY_APP_NAME, "Tapwell", nullptr);
    context_ = pw_context_new(pw_thread_loop_get_loop(loop_), properties, 0);
    if (context_ == nullptr) return false;
    if (pw_thread_loop_start(loop_) == 0) return true;
    pw_context_destroy(context_);
    context_ = nullptr;
    return false;
}

bool PipeWireConnection::connect() {
    if (Clock::now() < muteUntil_ || !start()) return false;
    isAccessRefused_ = false;
    core_ = pw_context_connect(context_, nullptr, 0);
    if (core_ == nullptr) {
        noteFailure(errno);
        return false;
    }
    static const pw_core_events events = [] {
        pw_core_events made{};
        made.version = PW_VERSION_CORE_EVENTS;
        made.done = &onDone;
        made.error = &onError;
        return made;
    }();
    pw_core_add_listener(core_, &coreHook_, &events, this);
    registry_ =
        std::make_unique<PipeWireRegistry>(core_, objectIds_, [this] { registryChanged(); });
    pendingSync_ = pw_core_sync(core_, PW_ID_CORE, 0);
    state_ = State::awaitingGlobals;
    ++attempt_;
    attemptDeadline_ = Clock::now() + kAnswerLimit;
    setTimer(kAnswerLimit);
    return true;
}

void PipeWireConnection::noteFailure(int error) {
    // The library tries several directories and tells of the last one only.
    isAccessRefused_ = isRefusal(error) || isPipeWireSocketForbidden();
}

void PipeWireConnection::disconnect() {
    setTimer(0ns);
    if (core_ == nullptr) return;
    state_ = State::disconnected;
    handlers_.willDisconnect();
    registry_.reset();
    spa_hook_remove(&coreHook_);
    pw_core_disconnect(core_);
    core_ = nullptr;
    if (reconnects_) setTimer(kReconnectInterval);
    pw_thread_loop_signal(loop_, false);
}

/// The server took the connection and does not answer.
void PipeWireConnection::giveUp() {
    muteUntil_ = Clock::now() + kMuteServerRest;
    disconnect();
}

/// A zero delay switches the timer off.
void PipeWireConnection::setTimer(std::chrono::nanoseconds delay) {
    timespec value{};
    value.tv_sec = static_cast<time_t>(delay / 1s);
    value.tv_nsec = static_cast<long>((delay % 1s).count());
    pw_loop_update_timer(pw_thread_loop_get_loop(loop_), timer_, &value, nullptr, false);
}

void PipeWireConnection::onTimer() {
    if (state_ == State::lost) return disconnect();
    if (isConnecting() && Clock::now() >= attemptDeadline_) return giveUp();
    if (isReady() && registry_->missesDefaults() && registry_->renewDefaults())
        setTimer(kDefaultsInterval);
    if (state_ != State::disconnected || !reconnects_) return;
    if (!connect()) setTimer(kReconnectInterval);
}

void PipeWireConnection::onDone(void* self, std::uint32_t id, int sequence) {
    auto* connection = static_cast<PipeWireConnection*>(self);
    if (id == PW_ID_CORE && sequence == connection->pendingSync_) connection->advance();
}

/// First the server has named everything and all of that is bound, then it has told the details.
void PipeWireConnection::advance() {
    if (state_ == State::awaitingGlobals) {
        pendingSync_ = pw_core_sync(core_, PW_ID_CORE, 0);
        state_ = State::awaitingDetails;
    } else if (state_ == State::awaitingDetails) {
        state_ = State::ready;
        setTimer(0ns);
        pw_thread_loop_signal(loop_, false);
        registryChanged();
    }
}

void PipeWireConnection::registryChanged() {
    if (!isReady()) return;
    handlers_.changed();
    // Not before the server has been quiet for a while.
    if (registry_->missesDefaults()) setTimer(kDefaultsInterval);
}

void PipeWireConnection::onError(void* self, std::uint32_t id, int, int result, const char*) {
    auto* connection = static_cast<PipeWireConnection*>(self);
    // Other errors of the core concern single objects, such as a node that went away.
    const bool isRefused = id == PW_ID_CORE && isRefusal(-result) && connection->isConnecting();
    if (id != PW_ID_CORE || (result != -EPIPE && !isRefused)) return;
    connection->isAccessRefused_ = isRefused;
    connection->state_ = State::lost;
    // The core is in use right now; the timer takes it down.
    connection->setTimer(1ns);
    pw_thread_loop_signal(connection->loop_, false);
}

}  // namespace tapwell
