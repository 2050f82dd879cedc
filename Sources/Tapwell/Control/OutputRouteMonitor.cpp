#include "Tapwell/Control/OutputRouteMonitor.h"

#include "Tapwell/Capture/CoreAudioRecordingUtils.h"

#include <exception>
#include <string>
#include <utility>

namespace tapwell {
namespace {

constexpr AudioObjectPropertyAddress kDefaultOutputAddress{
    kAudioHardwarePropertyDefaultOutputDevice, kAudioObjectPropertyScopeGlobal,
    kAudioObjectPropertyElementMain};

void cancel(std::shared_ptr<WorkItem>& work) {
    if (work) work->cancel();
    work.reset();
}

}  // namespace

std::shared_ptr<OutputRouteMonitor> OutputRouteMonitor::create(const Services& services,
                                                               Hooks hooks, Log log) {
    return std::shared_ptr<OutputRouteMonitor>(
        new OutputRouteMonitor(services, std::move(hooks), std::move(log)));
}

OutputRouteMonitor::OutputRouteMonitor(const Services& services, Hooks hooks, Log log)
    : hardware_(services.hardware),
      clock_(services.clock),
      hooks_(std::move(hooks)),
      log_(std::move(log)),
      systemOutputRouteQueue_(services.queue) {}

OutputRouteMonitor::~OutputRouteMonitor() {
    // Nobody else holds the monitor now, so nothing of it runs on its queue.
    removeHardwareDefaultSystemOutputListener();
}

void OutputRouteMonitor::registerDefaultSystemOutputRouteMonitoringIfNeeded() {
    systemOutputRouteQueue_->sync([this] {
        beginGrace(startUpGrace);
        lastObservedDefaultOutputDeviceID_ = recorderDefaultSystemOutputDeviceObjectID(hardware_);
        addHardwareDefaultSystemOutputListenerIfNeeded();
    });
}

void OutputRouteMonitor::unregisterDefaultSystemOutputRouteMonitoring() {
    systemOutputRouteQueue_->sync([this] {
        cancel(pendingSystemOutputRebuild_);
        cancel(pendingGraceEnd_);
        removeHardwareDefaultSystemOutputListener();
    });
}

void OutputRouteMonitor::addHardwareDefaultSystemOutputListenerIfNeeded() {
    if (defaultOutputPropertyListener_) return;
    auto listener = std::make_shared<AudioPropertyListenerBlock>(
        [weak = weak_from_this()](std::span<const AudioObjectPropertyAddress>) {
            if (const auto self = weak.lock()) self->defaultOutputChanged();
        });
    const OSStatus status = hardware_.addPropertyListener(
        kAudioObjectSystemObject, kDefaultOutputAddress, systemOutputRouteQueue_, listener);
    if (status != noErr) {
        log_.line("AudioObjectAddPropertyListenerBlock(DefaultSystemOutputDevice) failed: " +
                  std::to_string(status));
        cancel(pendingGraceEnd_);
        return;
    }
    defaultOutputPropertyListener_ = std::move(listener);
}

void OutputRouteMonitor::removeHardwareDefaultSystemOutputListener() {
    if (!defaultOutputPropertyListener_) return;
    hardware_.removePropertyListener(kAudioObjectSystemObject, kDefaultOutputAddress,
                                     systemOutputRouteQueue_, defaultOutputPropertyListener_);
    defaultOutputPropertyListener_.reset();
}

void OutputRouteMonitor::defaultOutputChanged() {
    // A notice that was on its way when the listener was removed.
    if (!defaultOutputPropertyListener_) return;
    if (ignoreOutputRouteChangesUntil_ && clock_.now() < *ignoreOutputRouteChangesUntil_) return;
    const auto device = recorderDefaultSystemOutputDeviceObjectID(hardware_);
    if (!device || lastObservedDefaultOutputDeviceID_ == *device) return;
    log_.line("default system output device changed (id=" + std::to_string(*device) +
              ") — scheduling system tap rebuild");
    failedRebuilds_ = 0;
    enqueueDebouncedSystemTapRebuild();
}

void OutputRouteMonitor::beginGrace(std::chrono::nanoseconds length) {
    cancel(pendingGraceEnd_);
    ignoreOutputRouteChangesUntil_ = clock_.now() + length;
    pendingGraceEnd_ = after(length, &OutputRouteMonitor::graceEnded);
}

/// The tap counts too: it may have been made just before the device was read that is known here.
void OutputRouteMonitor::graceEnded() {
    pendingGraceEnd_.reset();
    const auto device = recorderDefaultSystemOutputDeviceObjectID(hardware_);
    if (!device || pendingSystemOutputRebuild_) return;
    const auto tapped = hooks_.tappedDevice();
    if (lastObservedDefaultOutputDeviceID_ == *device && (!tapped || *tapped == *device)) return;
    log_.line("default system output device changed during the grace (id=" +
              std::to_string(*device) + ") — scheduling system tap rebuild");
    failedRebuilds_ = 0;
    enqueueDebouncedSystemTapRebuild();
}

void OutputRouteMonitor::enqueueDebouncedSystemTapRebuild() {
    cancel(pendingSystemOutputRebuild_);
    hooks_.holdOffMicrophone();
    pendingSystemOutputRebuild_ =
        after(rebuildDebounce, &OutputRouteMonitor::performSystemTapRebuildForDefaultOutputChange);
}

void OutputRouteMonitor::performSystemTapRebuildForDefaultOutputChange() {
    pendingSystemOutputRebuild_.reset();
    hooks_.holdOffMicrophone();
    bool isRebuilt = false;
    try {
        isRebuilt = hooks_.rebuildSystemTap();
    } catch (const std::exception& error) {
        log_.line(std::string("system tap rebuild failed: ") + error.what());
    }
    if (isRebuilt) {
        failedRebuilds_ = 0;
        beginGrace(postRebuildGrace);
        hooks_.checkMicrophone();
    }
    lastObservedDefaultOutputDeviceID_ = recorderDefaultSystemOutputDeviceObjectID(hardware_);
    if (!isRebuilt) rebuildFailed();
}

/// Without any output device there is nothing to try; the next one is a change.
void OutputRouteMonitor::rebuildFailed() {
    if (++failedRebuilds_ >= maxRebuildAttempts) {
        log_.line("system tap rebuild given up after " + std::to_string(failedRebuilds_) +
                  " attempts; system audio is recorded again after the next change of the output");
        return;
    }
    if (!lastObservedDefaultOutputDeviceID_) return;
    pendingSystemOutputRebuild_ = after(
        rebuildRetryDelay, &OutputRouteMonitor::performSystemTapRebuildForDefaultOutputChange);
}

std::shared_ptr<WorkItem> OutputRouteMonitor::after(std::chrono::nanoseconds delay,
                                                    void (OutputRouteMonitor::*step)()) {
    auto work = std::make_shared<WorkItem>([weak = weak_from_this(), step] {
        if (const auto self = weak.lock()) ((*self).*step)();
    });
    systemOutputRouteQueue_->asyncAfter(delay, work);
    return work;
}

}  // namespace tapwell
