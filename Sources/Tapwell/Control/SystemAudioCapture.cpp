#include "Tapwell/Control/SystemAudioCapture.h"

#include <utility>

namespace tapwell {

SystemAudioCapture::SystemAudioCapture(const Services& services, Log log)
    : services_(services),
      log_(std::move(log)),
      tapIOQueue_(services.queues.makeSerialQueue("Tapwell.SystemTapIO",
                                                  QualityOfService::userInteractive)) {}

void SystemAudioCapture::prepare() {
    systemTap_ = SystemAudioTapSession::create(services_.hardware, services_.environment,
                                               log_.withArea("system-tap"));
    systemTap_->prepareExcludeTapwellPid();
}

std::optional<AudioFormat> SystemAudioCapture::tapFormat() const {
    return systemTap_ ? systemTap_->tapAVFormat() : std::nullopt;
}

std::optional<AudioObjectID> SystemAudioCapture::outputDevice() const {
    return systemTap_ ? systemTap_->outputDevice() : std::nullopt;
}

std::optional<double> SystemAudioCapture::actualRateHz() const {
    return systemTap_ ? systemTap_->actualRateHz() : std::nullopt;
}

void SystemAudioCapture::run(OnIO onIO) {
    onIO_ = std::make_shared<const OnIO>(std::move(onIO));
    startTap();
}

void SystemAudioCapture::startTap() {
    systemTap_->run(tapIOQueue_, *systemTap_->tapAVFormat(), nullptr,
                    [onIO = onIO_, weakTap = std::weak_ptr(systemTap_)](
                        const PcmBuffer& buffer, const AudioTimeStamp& stamp) {
                        const auto tap = weakTap.lock();
                        if (!tap) return;  // it would not stop, and was left behind
                        const auto format = tap->ioFormat();
                        const auto hint =
                            format ? std::optional(format->sampleRate()) : std::nullopt;
                        (*onIO)(buffer, stamp, hint);
                    });
}

bool SystemAudioCapture::rebuild(const std::function<void()>& betweenTaps) {
    stop();
    betweenTaps();
    try {
        prepare();
        if (systemTap_->tapAVFormat()) {
            startTap();
            return true;
        }
    } catch (...) {
        systemTap_.reset();
        throw;
    }
    stop();
    return false;
}

void SystemAudioCapture::stop() {
    if (!systemTap_) return;
    systemTap_->stopAndTeardown();
    systemTap_.reset();
    tapIOQueue_->sync([] {});  // a cycle that was under way has run to its end
}

}  // namespace tapwell
