#include "Swift/SwiftTasks.h"

#include <cstdint>
#include <deque>

// The runtime's own names: a job that could run, whom it tells of one, and how it is run.
struct SwiftJob;
#define SWIFT_CALL __attribute__((swiftcall))
extern "C" {
using SwiftEnqueue = SWIFT_CALL void (*)(SwiftJob*);
extern SWIFT_CALL void (*swift_task_enqueueGlobal_hook)(SwiftJob*, SwiftEnqueue original);
/// The executor is two words; two zeros stand for none in particular.
SWIFT_CALL void swift_job_run(SwiftJob*, void* executor, std::uintptr_t implementation);
}

namespace maccheck {
namespace {

std::deque<SwiftJob*> jobs;
SwiftTasks::Order order;

SWIFT_CALL void take(SwiftJob* job, SwiftEnqueue) {
    jobs.push_back(job);
}

SwiftJob* takeNext() {
    const bool isOldest = order == SwiftTasks::Order::oldestFirst;
    SwiftJob* const job = isOldest ? jobs.front() : jobs.back();
    isOldest ? jobs.pop_front() : jobs.pop_back();
    return job;
}

}  // namespace

SwiftTasks::SwiftTasks(Order wanted) {
    order = wanted;
    swift_task_enqueueGlobal_hook = take;
}

SwiftTasks::~SwiftTasks() {
    run();
    swift_task_enqueueGlobal_hook = nullptr;
}

std::size_t SwiftTasks::run() {
    std::size_t steps = 0;
    for (; !jobs.empty(); ++steps)
        swift_job_run(takeNext(), nullptr, 0);
    return steps;
}

}  // namespace maccheck
