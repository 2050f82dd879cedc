#include "Platform/macOS/DispatchSerialQueue.h"

#include "Platform/macOS/NativeQueue.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

namespace tapwell {
namespace {

using Work = std::function<void()>;

qos_class_t classOf(QualityOfService qualityOfService) {
    switch (qualityOfService) {
        case QualityOfService::userInteractive:
            return QOS_CLASS_USER_INTERACTIVE;
        case QualityOfService::userInitiated:
            return QOS_CLASS_USER_INITIATED;
        case QualityOfService::utility:
            return QOS_CLASS_UTILITY;
        case QualityOfService::standard:
            break;
    }
    return QOS_CLASS_DEFAULT;
}

dispatch_queue_t makeQueue(const std::string& label, QualityOfService qualityOfService) {
    return dispatch_queue_create(
        label.c_str(), dispatch_queue_attr_make_with_qos_class(DISPATCH_QUEUE_SERIAL,
                                                               classOf(qualityOfService), 0));
}

void runAndDelete(void* context) noexcept {
    const std::unique_ptr<Work> work(static_cast<Work*>(context));
    (*work)();
}

struct SyncCall {
    const Work& work;
    std::exception_ptr thrown;
};

void runSyncCall(void* context) noexcept {
    auto* const call = static_cast<SyncCall*>(context);
    try {
        call->work();
    } catch (...) {
        call->thrown = std::current_exception();
    }
}

}  // namespace

dispatch_queue_t nativeQueue(const SerialQueue& queue) {
    return static_cast<dispatch_queue_t>(dynamic_cast<const DispatchSerialQueue&>(queue).native());
}

DispatchSerialQueue::DispatchSerialQueue(std::string label, QualityOfService qualityOfService)
    : label_(std::move(label)), queue_(makeQueue(label_, qualityOfService)) {}

DispatchSerialQueue::~DispatchSerialQueue() {
    dispatch_release(nativeQueue(*this));
}

void DispatchSerialQueue::async(Work work) {
    dispatch_async_f(nativeQueue(*this), new Work(std::move(work)), runAndDelete);
}

void DispatchSerialQueue::sync(const Work& work) {
    SyncCall call{work, nullptr};
    dispatch_sync_f(nativeQueue(*this), &call, runSyncCall);
    if (call.thrown) std::rethrow_exception(call.thrown);
}

void DispatchSerialQueue::asyncAfter(std::chrono::nanoseconds delay, Work work) {
    const std::int64_t nanoseconds = std::max<std::int64_t>(delay.count(), 0);
    dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, nanoseconds), nativeQueue(*this),
                     new Work(std::move(work)), runAndDelete);
}

}  // namespace tapwell
