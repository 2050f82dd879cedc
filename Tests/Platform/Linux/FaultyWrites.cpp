#include "FaultyWrites.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

namespace tapwell::test {

namespace {

std::mutex planMutex;
std::deque<FaultyWrites::Call> plan;
std::optional<std::thread::id> plannedThread;

FaultyWrites::Call nextCall() {
    const std::lock_guard lock(planMutex);
    if (plan.empty() || (plannedThread && *plannedThread != std::this_thread::get_id())) return {};
    const FaultyWrites::Call call = plan.front();
    plan.pop_front();
    return call;
}

}  // namespace

FaultyWrites::FaultyWrites(const std::vector<Call>& calls, Threads threads) {
    const std::lock_guard lock(planMutex);
    plan.assign(calls.begin(), calls.end());
    plannedThread.reset();
    if (threads == Threads::thisOne) plannedThread = std::this_thread::get_id();
}

FaultyWrites::~FaultyWrites() {
    const std::lock_guard lock(planMutex);
    plan.clear();
}

}  // namespace tapwell::test

/// Takes the C library's place in this program.
extern "C" ssize_t pwrite(int descriptor, const void* bytes, size_t count, off_t offset) {
    const auto call = tapwell::test::nextCall();
    if (call.errorNumber != 0) {
        errno = call.errorNumber;
        return -1;
    }
    const auto written =
        ::syscall(SYS_pwrite64, descriptor, bytes, std::min(count, call.bytes), offset);
    if (call.isKill) ::kill(::getpid(), SIGKILL);
    return written;
}
