#include "Tapwell/Control/CaptureWatchdog.h"

#include "Tapwell/Diagnostics/TextFormat.h"

#include <utility>

namespace tapwell {
namespace {

double seconds(Clock::Date duration) {
    return std::chrono::duration<double>(duration).count();
}

}  // namespace

std::shared_ptr<CaptureWatchdog> CaptureWatchdog::create(std::shared_ptr<SerialQueue> queue,
                                                         const Clock& clock, OnOutage onOutage,
                                                         Log log) {
    return std::shared_ptr<CaptureWatchdog>(
        new CaptureWatchdog(std::move(queue), clock, std::move(onOutage), std::move(log)));
}

CaptureWatchdog::CaptureWatchdog(std::shared_ptr<SerialQueue> queue, const Clock& clock,
                                 OnOutage onOutage, Log log)
    : clock_(clock),
      onOutage_(std::move(onOutage)),
      log_(std::move(log)),
      queue_(std::move(queue)) {}

void CaptureWatchdog::arrived(Stream& stream) const {
    const Clock::Date now = clock_.now();
    const Clock::Date pause = now - stream.lastArrival.exchange(now, std::memory_order_relaxed);
    if (pause >= quietLimit) stream.lastPause.store(pause, std::memory_order_relaxed);
}

void CaptureWatchdog::start() {
    queue_->sync([this] {
        for (Stream* stream : {&system_, &microphone_}) {
            // One that never delivered is quiet from now on.
            Clock::Date never = Clock::Date::zero();
            stream->lastArrival.compare_exchange_strong(never, clock_.now());
        }
        scheduleCheck();
    });
}

void CaptureWatchdog::stop() {
    queue_->sync([this] {
        if (pendingCheck_) pendingCheck_->cancel();
        pendingCheck_.reset();
    });
}

void CaptureWatchdog::scheduleCheck() {
    pendingCheck_ = std::make_shared<WorkItem>([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->check();
    });
    queue_->asyncAfter(checkInterval, pendingCheck_);
}

void CaptureWatchdog::check() {
    const bool hasSystem = checkStream(system_);
    const bool hasMicrophone = checkStream(microphone_);
    quietChecks_ = hasSystem || hasMicrophone ? 0 : quietChecks_ + 1;
    if (quietChecks_ >= checksBeforeOutage)
        onOutage_(clock_.hostSeconds(clock_.hostTicks()) - seconds(outageMargin));
    scheduleCheck();
}

bool CaptureWatchdog::checkStream(Stream& stream) {
    const Clock::Date last = stream.lastArrival.load(std::memory_order_relaxed);
    const Clock::Date previous = std::exchange(stream.lastSeen, last);
    if (last != previous) {
        if (std::exchange(stream.isReported, false))
            log_.line(std::string("audio from ") + stream.name + " is back after " +
                      fixedText(seconds(stream.lastPause.load()), 1) + " s");
        return true;
    }
    const Clock::Date quiet = clock_.now() - last;
    if (quiet >= quietLimit && !std::exchange(stream.isReported, true))
        log_.line(std::string("no audio from ") + stream.name + " for " +
                  fixedText(seconds(quiet), 1) + " s; the recording goes on without it");
    return false;
}

}  // namespace tapwell
