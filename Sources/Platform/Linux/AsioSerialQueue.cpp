#include "Platform/Linux/AsioSerialQueue.h"

#include "Platform/Linux/ThreadIdentity.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <list>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace tapwell {

struct AsioSerialQueue::Core {
    using TimerList = std::list<asio::steady_timer>;

    Core(std::string queueLabel, QualityOfService quality)
        : label(std::move(queueLabel)), qualityOfService(quality) {}

    static void submit(const std::shared_ptr<Core>& core, std::function<void()> work);
    static void submitAt(const std::shared_ptr<Core>& core, asio::steady_timer::time_point deadline,
                         std::function<void()> work);
    static void startThread(const std::shared_ptr<Core>& core);
    void run();
    bool isOwnThread() { return context.get_executor().running_in_this_thread(); }
    void endWaits();

    const std::string label;
    const QualityOfService qualityOfService;
    asio::io_context context;
    asio::executor_work_guard<asio::io_context::executor_type> keepRunning =
        asio::make_work_guard(context);
    std::mutex mutex;
    std::thread thread;                                   ///< guarded by mutex
    TimerList timers;                                     ///< guarded by mutex
    std::vector<std::weak_ptr<QueueDoorbell>> doorbells;  ///< guarded by mutex
};

// The default concurrency hint of the context matters: with a hint of 1, work that the queue's own
// thread submits may overtake or fall behind work from other threads.
void AsioSerialQueue::Core::submit(const std::shared_ptr<Core>& core, std::function<void()> work) {
    startThread(core);
    asio::post(core->context, std::move(work));
}

void AsioSerialQueue::Core::submitAt(const std::shared_ptr<Core>& core,
                                     asio::steady_timer::time_point deadline,
                                     std::function<void()> work) {
    startThread(core);
    Core* const self = core.get();  // the context never outlives its core
    const std::lock_guard lock(core->mutex);
    const auto timer = core->timers.emplace(core->timers.end(), core->context, deadline);
    timer->async_wait([self, timer, work = std::move(work)](const asio::error_code& error) {
        {
            const std::lock_guard timersLock(self->mutex);
            self->timers.erase(timer);
        }
        if (!error) work();
    });
}

void AsioSerialQueue::Core::startThread(const std::shared_ptr<Core>& core) {
    const std::lock_guard lock(core->mutex);
    if (core->thread.joinable()) return;
    core->thread = std::thread([core] { core->run(); });
}

void AsioSerialQueue::Core::run() {
    nameCurrentThread(label);
    setCurrentThreadPriority(qualityOfService);
    context.run();
}

void AsioSerialQueue::Core::endWaits() {
    const std::lock_guard lock(mutex);
    for (asio::steady_timer& timer : timers)
        timer.cancel();
    for (const auto& doorbell : doorbells)
        if (const auto open = doorbell.lock()) open->close();
}

AsioSerialQueue::AsioSerialQueue(std::string label, QualityOfService qualityOfService)
    : core_(std::make_shared<Core>(std::move(label), qualityOfService)) {}

AsioSerialQueue::~AsioSerialQueue() {
    std::thread thread;
    {
        const std::lock_guard lock(core_->mutex);
        thread = std::move(core_->thread);
    }
    if (!thread.joinable()) return;
    Core* const core = core_.get();
    // Behind all submitted work: from here on only waits that were ended are left to run.
    asio::post(core->context, [core] {
        core->endWaits();
        core->keepRunning.reset();
    });
    if (core->isOwnThread())
        thread.detach();
    else
        thread.join();
}

const std::string& AsioSerialQueue::label() const {
    return core_->label;
}

void AsioSerialQueue::async(std::function<void()> work) {
    Core::submit(core_, std::move(work));
}

void AsioSerialQueue::sync(const std::function<void()>& work) {
    if (core_->isOwnThread()) {
        std::fprintf(stderr, "sync on queue \"%s\" from its own work can never return\n",
                     core_->label.c_str());
        std::abort();
    }
    std::promise<void> done;
    Core::submit(core_, [&work, &done] {
        try {
            work();
            done.set_value();
        } catch (...) {
            done.set_exception(std::current_exception());
        }
    });
    done.get_future().get();
}

void AsioSerialQueue::asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) {
    using TimePoint = asio::steady_timer::time_point;
    if (delay <= std::chrono::nanoseconds::zero()) return async(std::move(work));
    const TimePoint now = asio::steady_timer::clock_type::now();
    const TimePoint deadline = delay > TimePoint::max() - now ? TimePoint::max() : now + delay;
    Core::submitAt(core_, deadline, std::move(work));
}

std::shared_ptr<QueueDoorbell> AsioSerialQueue::makeDoorbell(std::function<void()> work) {
    auto doorbell = std::make_shared<QueueDoorbell>(core_->context, std::move(work));
    {
        const std::lock_guard lock(core_->mutex);
        std::erase_if(core_->doorbells, [](const auto& other) { return other.expired(); });
        core_->doorbells.push_back(doorbell);
    }
    Core::submit(core_, [doorbell] { doorbell->open(); });
    return doorbell;
}

}  // namespace tapwell
